"""Files a third-party writer produces: a generated job's whole structure and arm S files,
read and written again by scikit-rf in RI, MA and DB form, must de-embed to the same
numbers as the generator's RI original."""
import os
import subprocess
import tempfile

import numpy as np
import pytest
import skrf

VORA = os.environ["VORA_BINARY"]
JOBGEN = os.environ["VORA_JOBGEN"]


def deembed(directory):
    run = subprocess.run([VORA, "-filepath", directory + "/", "-in", "job.map", "-out", "out.s4p"],
                         cwd=directory, capture_output=True, text=True)
    log = "".join(open(os.path.join(directory, f)).read() for f in os.listdir(directory) if f.startswith("vora_"))
    assert run.returncode == 0, log
    return skrf.Network(os.path.join(directory, "out.s4p"))


@pytest.fixture(scope="module")
def original():
    with tempfile.TemporaryDirectory() as directory:
        # Arm S files (ES): every data file holds S, as scikit-rf writes it.
        subprocess.run([JOBGEN, "--arm", "ES", "--points", "21", directory], check=True, capture_output=True)
        yield directory, deembed(directory), skrf.Network(os.path.join(directory, "device.s4p"))


@pytest.mark.parametrize("form", ["ri", "ma", "db"])
def test_files_written_again_by_scikit_rf_read_to_the_same_device(original, form):
    directory, reference, device = original
    with tempfile.TemporaryDirectory() as copy:
        for name in os.listdir(directory):
            source = os.path.join(directory, name)
            if name.startswith("vora_") or name.startswith("out") or name.startswith("device"):
                continue
            if ".s" not in name or name.endswith(".map"):
                with open(source) as f, open(os.path.join(copy, name), "w") as g:
                    g.write(f.read())
                continue
            stem = os.path.join(copy, name.rsplit(".", 1)[0])
            skrf.Network(source).write_touchstone(stem, form=form, skrf_comment=False)
            written = open(os.path.join(copy, name)).read()
            option_line = [line for line in written.splitlines() if line.startswith("#")]
            assert len(option_line) == 1 and form in option_line[0].lower(), option_line
        result = deembed(copy)
    assert np.allclose(result.f, reference.f, rtol=1e-12)
    # Six printed digits each: the same device to the output's rounding.
    assert np.max(np.abs(result.s - reference.s)) < 2e-6
    assert np.max(np.abs(result.s - device.s)) < 3e-6
