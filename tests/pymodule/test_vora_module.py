"""import vora against the executable: the same jobs give the same numbers, failures raise,
threads are safe, and the in-memory call touches no file.

Run by CTest with PYTHONPATH=<build>/python, VORA_BINARY and VORA_JOBGEN set."""

import os
import pickle
import re
import shutil
import subprocess
import sys
import threading

import numpy as np
import pytest

import vora

VORA = os.environ["VORA_BINARY"]
JOBGEN = os.environ["VORA_JOBGEN"]
EXAMPLE = os.path.join(os.path.dirname(__file__), "..", "..", "examples", "coupled-lines")


def read_ri(path):
    """A Touchstone 1 RI file as (frequencies in Hz, matrices (K, m, m)); 11 21 12 22 for two ports."""
    m = int(re.search(r"\.s(\d+)p$", path).group(1))
    unit = 1e9
    numbers = []
    for line in open(path):
        line = line.split("!")[0]
        if line.strip().startswith("#"):
            unit = {"HZ": 1, "KHZ": 1e3, "MHZ": 1e6, "GHZ": 1e9}[line.split()[1].upper()]
            continue
        numbers += [float(t) for t in line.split()]
    records = np.array(numbers).reshape(-1, 1 + 2 * m * m)
    values = records[:, 1::2] + 1j * records[:, 2::2]
    matrices = values.reshape(-1, m, m)
    if m == 2:
        matrices = matrices.transpose(0, 2, 1)
    return records[:, 0] * unit, matrices


def printed_tokens(path):
    tokens = []
    for line in open(path):
        if line.strip() and not line.lstrip().startswith(("!", "#")):
            tokens += line.split()
    return tokens


def job_from_files(folder):
    """The arguments of vora.deembed for a job folder written by vora-jobgen (or the example)."""
    lines = [l.split() for l in open(os.path.join(folder, "job.map")) if l.strip() and not l.startswith("*")]
    er = next(float(l[1]) for l in lines if l[0] == "ER")
    np_line = next(l for l in lines if l[0] == "NP")
    n = int(np_line[1])
    geometry = np.array([float(x) for x in np_line[2:]]).reshape(n, 4)
    whole = next(l[1] for l in lines if l[0] == "WS")
    f, s = read_ri(os.path.join(folder, whole))
    groups = []
    for l in lines:
        if l[0] in ("EP", "ED"):
            p = int(l[1])
            ports = [int(x) for x in l[2:2 + p]]
            groups.append({"ports": ports, "kind": l[0], "open": read_ri(os.path.join(folder, l[2 + p])),
                           "short": read_ri(os.path.join(folder, l[3 + p]))})
        elif l[0] == "ES":
            p = int(l[1])
            groups.append({"ports": [int(x) for x in l[2:2 + p]], "kind": "ES",
                           "arm": read_ri(os.path.join(folder, l[2 + p]))})
    return dict(frequencies=f, s=s, groups=groups, geometry=geometry, max_permittivity=er), n


def file_run(folder, n):
    out = "file-run.s%dp" % n
    subprocess.run([VORA, "-filepath", folder + "/", "-in", "job.map", "-out", out], check=True,
                   stdout=subprocess.DEVNULL)
    return os.path.join(folder, out)


def generated(tmp_path, options):
    folder = str(tmp_path / "job")
    subprocess.run([JOBGEN] + options.split() + [folder], check=True, stdout=subprocess.DEVNULL)
    return folder


# Every arm kind, one- and multi-port groups, a two-port whole structure (its own order).
JOBS = ["--ports 4 --group 1,2:EP --group 3,4:ED --points 60",
        "--ports 4 --group 1,2:ES --group 3:ED --group 4:EP --points 40",
        "--ports 2 --group 1:ES --group 2:EP --points 45 --arm-grid fine:3",
        "--ports 3 --group 1-3:ED --points 30 --fstop 20G"]


@pytest.mark.parametrize("options", ["example"] + JOBS)
def test_python_result_prints_as_the_executable_output(tmp_path, options):
    if options == "example":
        folder = str(tmp_path / "job")
        shutil.copytree(EXAMPLE, folder)
    else:
        folder = generated(tmp_path, options)
    arguments, n = job_from_files(folder)
    s, log = vora.deembed(**arguments)
    assert s.shape == (len(arguments["frequencies"]), n, n)
    assert log[-1] == "VORA:  Program successfully completed."
    # The same computation on the same values: every printed digit agrees.
    ours = []
    for k, f in enumerate(arguments["frequencies"]):
        ours.append("%g" % (f / 1e9))
        for value in s[k].reshape(-1):
            ours += ["%g" % value.real, "%g" % value.imag]
    assert ours == printed_tokens(file_run(folder, n))
    if options != "example" and ":ED" not in options:
        # And the physics: the device comes back (the extended ED form iterates on Z/Y
        # converted from its S files and does not return the device; jobgen says so).
        _, device = read_ri(os.path.join(folder, "device.s%dp" % n))
        assert np.max(np.abs(s - device)) < 1e-6


@pytest.fixture(scope="module")
def small_job(tmp_path_factory):
    folder = generated(tmp_path_factory.mktemp("small"), "--ports 2 --group 1:EP --group 2:ES --points 20")
    return job_from_files(folder)[0]


def changed(job, **changes):
    copy = dict(job)
    copy.update(changes)
    return copy


def test_argument_errors_raise_value_error_naming_the_argument(small_job):
    group0 = small_job["groups"][0]
    cases = [
        (changed(small_job, s=small_job["s"][:, :1, :]), "s: a complex array of shape"),
        (changed(small_job, s=small_job["s"][:-1]), "s: 19 matrices for 20 frequencies"),
        (changed(small_job, frequencies=np.where(np.arange(20) == 3, np.nan, small_job["frequencies"])),
         "frequencies: a frequency is not finite"),
        (changed(small_job, s=np.where(np.arange(20)[:, None, None] == 2, np.inf, small_job["s"])),
         "s: a value is not finite"),
        (changed(small_job, groups=[dict(group0, ports=[3])] + small_job["groups"][1:]),
         "groups[0]: port 3 is outside 1..2"),
        (changed(small_job, groups=[dict(group0, kind="EX")]), "groups[0]: kind must be"),
        (changed(small_job, groups=[{k: v for k, v in group0.items() if k != "open"}]), "groups[0]: 'open'"),
        (changed(small_job, groups=[dict(group0, ports=[1, 2])]), "groups[0]['short']: matrices of 1 ports"),
        (changed(small_job, geometry=np.ones(3)), "geometry:"),
    ]
    for arguments, message in cases:
        with pytest.raises(ValueError, match=re.escape(message)):
            vora.deembed(**arguments)


def test_engine_failures_raise_vora_error_with_the_log_line(small_job):
    group0 = small_job["groups"][0]
    f, z = group0["short"]
    short_range = [dict(group0, short=(f[:10], z[:10]))] + small_job["groups"][1:]
    with pytest.raises(vora.Error) as failure:
        vora.deembed(**changed(small_job, groups=short_range))
    assert str(failure.value).startswith("VORA:: groups[0]['short'] (Short Z File)'s frequency range does not include")
    assert failure.value.log[-1] == "VORA:  Program fails."


def test_four_threads_give_what_one_after_another_gives(tmp_path):
    jobs = [job_from_files(generated(tmp_path / str(i), "--ports 4 --points 150 --seed %d" % (i + 1)))[0]
            for i in range(4)]
    sequential = [vora.deembed(**job)[0] for job in jobs]
    results = [None] * 4

    def work(i):
        results[i] = vora.deembed(**jobs[i])[0]

    threads = [threading.Thread(target=work, args=(i,)) for i in range(4)]
    for t in threads:
        t.start()
    for t in threads:
        t.join()
    for i in range(4):
        assert np.array_equal(results[i], sequential[i])


def test_the_in_memory_call_touches_no_file(tmp_path, small_job):
    """strace lists every file system call of the process between two markers."""
    if shutil.which("strace") is None:
        pytest.skip("strace is not installed")
    script = tmp_path / "call.py"
    script.write_text(
        "import os, pickle, sys\n"
        "import vora\n"
        "job = pickle.load(open(sys.argv[1], 'rb'))\n"
        "os.access('/vora-begin-of-call', os.F_OK)\n"
        "s, log = vora.deembed(**job)\n"
        "os.access('/vora-end-of-call', os.F_OK)\n"
        "assert log[-1] == 'VORA:  Program successfully completed.'\n")
    pickle.dump(small_job, open(tmp_path / "job.pickle", "wb"))
    trace = tmp_path / "trace"
    subprocess.run(["strace", "-f", "-qq", "-e", "trace=%file,%desc", "-o", str(trace), sys.executable, str(script),
                    str(tmp_path / "job.pickle")], check=True, env=os.environ)
    calls = open(trace).read().split("/vora-begin-of-call")[1].split("/vora-end-of-call")[0].splitlines()[1:-1]
    # Descriptors the call may use without a file: the worker's pipe and shared memory.
    touched = [c for c in calls if re.search(r"\b(open|openat|stat|newfstatat|access|faccessat2?|mkdir|unlink|"
                                             r"unlinkat|rename|renameat2?|creat|truncate|readlink|chdir)\(", c)]
    assert touched == []


def test_to_network_gives_a_scikit_rf_network(small_job):
    skrf = pytest.importorskip("skrf")
    s, _ = vora.deembed(**small_job)
    network = vora.to_network(small_job["frequencies"], s)
    assert isinstance(network, skrf.Network)
    assert np.array_equal(network.s, s) and np.allclose(network.f, small_job["frequencies"])


def test_run_is_the_executable_run(tmp_path):
    folder = str(tmp_path / "job")
    shutil.copytree(EXAMPLE, folder)
    status, log = vora.run(folder, "job.map", "in-process.s5p")
    assert status == 0 and log[-1] == "VORA:  Program successfully completed."
    executable = file_run(folder, 5)
    assert open(os.path.join(folder, "in-process.s5p")).read() == open(executable).read()
    # The log as the executable writes it, but for the program's path in the command-line echo.
    logs = sorted(os.path.join(folder, name) for name in os.listdir(folder) if name.startswith("vora_"))
    theirs = [l.rstrip("\n") for l in open(max(logs, key=os.path.getmtime))]
    assert [l for l in log if "Command Line" not in l] == [l for l in theirs if "Command Line" not in l]
    status, log = vora.run(folder, "missing.map", "x.s5p")
    assert status == -1 and "VORA:: Could not find " + folder + "/missing.map" in log


def test_read_touchstone_reads_every_form_as_s(tmp_path):
    ri = generated(tmp_path / "ri", "--ports 2 --points 25")
    other = generated(tmp_path / "ma", "--ports 2 --points 25 --format MA --version 2 --unit MHz")
    f, s, r = vora.read_touchstone(os.path.join(other, "whole.s2p"))
    f_ri, s_ri = read_ri(os.path.join(ri, "whole.s2p"))
    assert np.allclose(f, f_ri, rtol=1e-12) and np.allclose(s, s_ri, rtol=1e-9, atol=1e-12)
    assert list(r) == [50.0, 50.0]
    with pytest.raises(vora.Error, match="Could not find whole structure file"):
        vora.read_touchstone(str(tmp_path / "none.s2p"))
    with pytest.raises(ValueError, match="port count is not in the name"):
        vora.read_touchstone(str(tmp_path / "none.txt"))


def test_generalized_sparam_prints_as_the_executable_output(tmp_path):
    folder = generated(tmp_path, "--ports 2 --points 40")
    f, s1 = read_ri(os.path.join(folder, "whole.s2p"))
    _, s2 = read_ri(os.path.join(folder, "device.s2p"))
    g = vora.generalized_sparam(f, s1, s2)
    assert g.shape == (40,)
    subprocess.run([VORA, "GENERALIZEDSPARAM", "-filepath", folder + "/", "-inputsfile1", folder + "/whole.s2p",
                    "-inputsfile2", folder + "/device.s2p", "-out", "g.txt"], check=True, stdout=subprocess.DEVNULL)
    printed = [l.split()[1:] for l in open(os.path.join(folder, "g.txt")) if not l.startswith("#")]
    assert [["%.15f" % v.real, "%.15f" % v.imag] for v in g] == printed
    with pytest.raises(ValueError, match=re.escape("s2: two-port matrices (K, 2, 2) are needed")):
        vora.generalized_sparam(f, s1, np.ones((40, 3, 3)))
    singular = s1.copy()
    singular[5, 1, 0] = singular[5, 0, 1] = 0  # no transmission: no transfer matrix
    with pytest.raises(vora.Error, match="matrix is not finite at frequency id : 6"):
        vora.generalized_sparam(f, singular, s2)
