#!/usr/bin/env python3
"""The report page in a real browser: a generated job with extrapolated arm data is run with
-report, its page written by vora-plot --report and rendered by headless Chromium. The
screenshot must not be blank and the rendered page's text must hold the quality table.
Exit status 77 (skipped) with the reason when Chromium is missing or cannot start."""
import argparse
import os
import re
import shutil
import subprocess
import sys
import tempfile

SKIP = 77

CHROMIUM_FLAGS = ["--headless", "--no-sandbox", "--disable-gpu", "--disable-quic", "--no-first-run",
                  "--disable-background-networking", "--disable-component-update", "--disable-sync"]


def chromium(binary, profile, *arguments):
    return subprocess.run([binary, *CHROMIUM_FLAGS, "--user-data-dir=" + profile, *arguments],
                          capture_output=True, text=True, timeout=120)


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--vora", required=True)
    parser.add_argument("--tools", required=True)
    parser.add_argument("--chromium", default="/usr/bin/chromium")
    args = parser.parse_args()
    if not os.access(args.chromium, os.X_OK):
        print(f"SKIPPED: {args.chromium} is not installed")
        return SKIP
    try:
        import matplotlib.image
    except ImportError as error:
        print(f"SKIPPED: no PNG reader ({error})")
        return SKIP

    work = tempfile.mkdtemp(prefix="vora-page-")
    try:
        job = os.path.join(work, "job")
        subprocess.run([os.path.join(args.tools, "vora-jobgen"), "--ports", "2", "--group", "1,2:EP", "--points",
                        "41", "--fstart", "1G", "--fstop", "8G", job], check=True, capture_output=True)
        run = subprocess.run([args.vora, "-filepath", job + "/", "-in", "job.map", "-out", "out.s2p", "-report",
                              "report.json"], capture_output=True, text=True)
        report = os.path.join(job, "report.json")
        assert os.path.exists(report), run.stderr
        page = os.path.join(job, "report.html")
        subprocess.run([os.path.join(args.tools, "vora-plot"), "--report", report, "-o", page], check=True,
                       capture_output=True)
        html = open(page, encoding="utf-8").read()
        # Self-contained: nothing to fetch, no script.
        assert "<script" not in html and "http://" not in html.replace('xmlns="http://www.w3.org/2000/svg"', "")
        assert "https://" not in html

        profile = os.path.join(work, "profile")
        shot = os.path.join(work, "shot.png")
        url = "file://" + page
        try:
            result = chromium(args.chromium, profile, "--screenshot=" + shot, "--window-size=1280,2000", url)
        except (OSError, subprocess.TimeoutExpired) as error:
            print(f"SKIPPED: chromium cannot start: {error}")
            return SKIP
        if not os.path.exists(shot):
            print("SKIPPED: chromium wrote no screenshot: " + result.stderr.strip()[-400:])
            return SKIP

        pixels = matplotlib.image.imread(shot)[:, :, :3]
        assert pixels.shape[0] >= 1000 and pixels.shape[1] >= 1000, pixels.shape
        # Not blank: many pixels away from white, and among them the class colours and dark text.
        not_white = (pixels < 0.9).any(axis=2).mean()
        assert not_white > 0.02, f"only {not_white:.4f} of the screenshot is not white"
        green = ((abs(pixels[:, :, 0] - 0xb9 / 255) < 0.02) & (abs(pixels[:, :, 1] - 0xe4 / 255) < 0.02)).mean()
        assert green > 0.001, "no Good cell colour on the screenshot"

        dom = chromium(args.chromium, profile, "--dump-dom", url).stdout
        text = re.sub(r"<[^>]+>", " ", dom)
        text = re.sub(r"\s+", " ", text)
        for words in ["vora run report", "Quality", "sweep ports points passivity reciprocity causality",
                      "whole structure", "arm of group 0", "Calibration groups", "replaced by extrapolation"]:
            assert words in text, f"'{words}' not in the rendered page"
        table = re.search(r'<table id="quality">(.*?)</table>', dom, re.S)
        assert table, "no quality table in the rendered page"
        rows = re.findall(r"<tr>(.*?)</tr>", table.group(1), re.S)
        assert len(rows) >= 3, rows  # the header, the whole structure and the arm at least
        for row in rows[1:]:
            assert re.search(r"\b(Good|Acceptable|Inconclusive|Poor)\b", row), row
        assert dom.count("<svg") >= 4, "charts missing"
        print(f"page rendered: {not_white:.3f} of the screenshot drawn, {len(rows) - 1} quality rows")
        return 0
    finally:
        shutil.rmtree(work, ignore_errors=True)


if __name__ == "__main__":
    sys.exit(main())
