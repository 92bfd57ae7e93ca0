#!/usr/bin/env python3
"""The report's quality metrics against an independent numpy computation on generated jobs.

For each job the whole structure file (every number in its shortest round-trip form) must
give the report's scores, per-point measures and worst values to 1e-9 relative. The output
is compared to what its printed digits allow: every value may be off by half a unit in its
last printed digit, and the script bounds how far each measure can move with that (to 1e-9
relative where the file carries 17 digits, as with -precision 17).
Exit status 77 (skipped) when numpy is missing."""
import argparse
import json
import math
import os
import shutil
import subprocess
import sys
import tempfile

SKIP = 77
A, B, C = 1.00001, 0.1, 1e-6
RELATIVE = 1e-9

JOBS = [
    # the generator's default: 4 ports, two groups of two coupled lines, open Y / short Z files
    ["--ports", "4", "--points", "201"],
    # one group of three lines given as one arm S file, a finer arm grid
    ["--ports", "3", "--group", "1-3:ES", "--points", "101", "--arm-grid", "fine:3", "--seed", "7"],
    # open and short S files sampled half a step off, so the arms are interpolated
    ["--ports", "4", "--group", "1,2:ED", "--group", "3,4:ED", "--arm-grid", "offset", "--points", "81",
     "--fstart", "100M", "--seed", "3"],
]


def significant_digits(token):
    mantissa = token.lower().split("e")[0].lstrip("+-").replace(".", "").lstrip("0")
    return max(len(mantissa), 1)


def half_unit(token):
    """Half a unit in the last printed digit of a number token (0 for an exact zero)."""
    x = float(token)
    if x == 0.0:
        return 0.0 if significant_digits(token) >= 17 else 5e-7
    exponent = math.floor(math.log10(abs(x)))
    return 0.5 * 10.0 ** (exponent - significant_digits(token) + 1)


def read_touchstone(path, ports, np):
    """Frequencies (Hz), S (K x N x N, records row by row) and the rounding half-units."""
    unit = 1.0
    tokens = []
    for line in open(path):
        text = line.split("!")[0].strip()
        if not text:
            continue
        if text.startswith("#"):
            words = text[1:].split()
            units = {"hz": 1.0, "khz": 1e3, "mhz": 1e6, "ghz": 1e9}
            unit = units.get(words[0].lower(), 1.0) if words else 1.0
            continue
        tokens.extend(text.split())
    width = 2 * ports * ports + 1
    count = len(tokens) // width
    frequencies = np.array([float(tokens[k * width]) * unit for k in range(count)])
    values = np.array([[float(t) for t in tokens[k * width + 1:(k + 1) * width]] for k in range(count)])
    rounding = np.array([[half_unit(t) for t in tokens[k * width + 1:(k + 1) * width]] for k in range(count)])
    S = (values[:, 0::2] + 1j * values[:, 1::2]).reshape(count, ports, ports)
    dS = np.hypot(rounding[:, 0::2], rounding[:, 1::2]).reshape(count, ports, ports)
    return frequencies, S, dS


def metrics(S, np):
    K, n, _ = S.shape
    pm = np.linalg.svd(S, compute_uv=False)[:, 0]
    pairs = [(k, m) for k in range(n) for m in range(k + 1, n)]
    diff = np.stack([np.abs(S[:, k, m] - S[:, m, k]) for k, m in pairs], axis=1)
    rm = diff.mean(axis=1)
    pqm = max(K - np.sum(np.where(pm > A, (pm - A) / B, 0.0)), 0.0) / K * 100
    rqm = max(K - np.sum(np.where(rm > C, (rm - C) / B, 0.0)), 0.0) / K * 100
    V = np.diff(S, axis=0)
    R = np.imag(V[:-1] * np.conj(V[1:]))
    positive = np.where(R > 0, R, 0).sum(axis=0)
    total = np.abs(R).sum(axis=0)
    cqm_elements = np.where(total > 0, np.maximum(positive / np.where(total > 0, total, 1), 0) * 100, 100.0)
    return {"pm": pm, "rm": rm, "pqm": pqm, "rqm": rqm, "cqm": cqm_elements.min(),
            "pmWorst": pm.max(), "rmWorst": diff.max(), "R": R, "V": V, "total": total, "positive": positive}


def bounds(S, dS, m, np):
    """How far each measure can move when every value moves by up to dS."""
    K = S.shape[0]
    dpm = np.sqrt((dS ** 2).sum(axis=(1, 2)))
    n = S.shape[1]
    pairs = [(k, j) for k in range(n) for j in range(k + 1, n)]
    drm = np.stack([dS[:, k, j] + dS[:, j, k] for k, j in pairs], axis=1).mean(axis=1)
    dpqm = 100 / K * np.sum(np.where(m["pm"] + dpm > A, dpm / B, 0.0))
    drqm = 100 / K * np.sum(np.where(m["rm"] + drm > C, drm / B, 0.0))
    dv = dS[1:] + dS[:-1]
    absV = np.abs(m["V"])
    dR = dv[:-1] * absV[1:] + absV[:-1] * dv[1:] + dv[:-1] * dv[1:]
    D = dR.sum(axis=0)
    T = m["total"]
    dcqm = np.where(T > 2 * D, 100 * 2 * D / np.maximum(T - D, 1e-300), 100.0).max()
    return {"pm": dpm, "rm": drm, "pqm": dpqm, "rqm": drqm, "cqm": dcqm, "pmWorst": dpm.max(),
            "rmWorst": (dS.max() * 2)}


def close(a, b, slack):
    return abs(a - b) <= RELATIVE * max(abs(a), abs(b)) + slack


def check(name, quality, f, S, dS, exact, np):
    m = metrics(S, np)
    b = bounds(S, dS, m, np) if not exact else None
    slack = (lambda key, k=None: 0.0) if exact else (lambda key, k=None: (b[key] if k is None else b[key][k]))
    problems = []
    if quality["points"] != len(f):
        return [f"{name}: {quality['points']} points in the report, {len(f)} in the file"]
    for k in range(len(f)):
        if not close(quality["frequencyHz"][k], f[k], 0.0 if exact else 1e-6 * abs(f[k])):
            problems.append(f"{name}: frequency {k}")
        if not close(quality["largestSingularValue"][k], m["pm"][k], slack("pm", k)):
            problems.append(f"{name}: PM at point {k}: {quality['largestSingularValue'][k]} vs {m['pm'][k]}")
        if not close(quality["reciprocityMeasure"][k], m["rm"][k], slack("rm", k)):
            problems.append(f"{name}: RM at point {k}: {quality['reciprocityMeasure'][k]} vs {m['rm'][k]}")
    for key, got in [("pqm", quality["passivity"]["score"]), ("rqm", quality["reciprocity"]["score"]),
                     ("cqm", quality["causality"]["score"]),
                     ("pmWorst", quality["passivity"]["worstLargestSingularValue"]),
                     ("rmWorst", quality["reciprocity"]["worstDifference"])]:
        if not close(got, m[key], slack(key)):
            problems.append(f"{name}: {key} {got} vs numpy {m[key]} (allowed {slack(key)})")
    print(f"  {name}: PQM {m['pqm']:.10g} RQM {m['rqm']:.10g} CQM {m['cqm']:.10g}"
          + ("" if exact else f" (output bounds: PQM {b['pqm']:.2g}, RQM {b['rqm']:.2g}, CQM {b['cqm']:.2g})"))
    return problems


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--vora", required=True)
    parser.add_argument("--tools", required=True)
    args = parser.parse_args()
    try:
        import numpy as np
    except ImportError as error:
        print(f"SKIPPED: numpy is not available ({error})")
        return SKIP

    problems = []
    work = tempfile.mkdtemp(prefix="vora-numpy-")
    try:
        for number, options in enumerate(JOBS):
            job = os.path.join(work, f"job{number}")
            subprocess.run([os.path.join(args.tools, "vora-jobgen"), *options, job], check=True, capture_output=True)
            ports = int(options[options.index("--ports") + 1])
            output = f"out.s{ports}p"
            run = subprocess.run([args.vora, "-filepath", job + "/", "-in", "job.map", "-out", output,
                                  "-precision", "17", "-report", "report.json"], capture_output=True, text=True)
            if run.returncode != 0:
                problems.append(f"job {number}: vora failed: {run.stderr}")
                continue
            report = json.load(open(os.path.join(job, "report.json")))
            quality = {q["name"]: q for q in report["quality"]}
            print(f"job {number}: {' '.join(options)}")
            f, S, _ = read_touchstone(os.path.join(job, f"whole.s{ports}p"), ports, np)
            problems += check("whole structure", quality["whole structure"], f, S, None, True, np)
            arm = os.path.join(job, f"arm1.s{2 * ports}p")
            if os.path.exists(arm):
                # An arm given as one S file is the calibration's arm itself, at the simulated
                # frequencies it matches: the report's arm must score as those records do.
                fa, Sa, _ = read_touchstone(arm, 2 * ports, np)
                matched = [int(np.argmin(np.abs(fa - x))) for x in f]
                assert all(abs(fa[j] - x) <= 0.01 for j, x in zip(matched, f))
                problems += check("arm of group 0", quality["arm of group 0"], fa[matched], Sa[matched], None, True, np)
            f, S, dS = read_touchstone(os.path.join(job, output), ports, np)
            exact = dS.max() <= 1e-15
            problems += check("de-embedded output", quality["de-embedded output"], f, S, dS, exact, np)
    finally:
        shutil.rmtree(work, ignore_errors=True)
    for p in problems[:30]:
        print("MISMATCH " + p)
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())
