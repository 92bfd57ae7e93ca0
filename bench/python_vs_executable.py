"""vora.deembed on a job held in memory against the executable on the same job's files:
median wall time of each over the runs, taking turns. The Python side is timed around the
call alone (its data are already arrays); the executable's run includes reading and writing
its files, which is the compute a caller of the executable waits for.

    python3 bench/python_vs_executable.py <build dir> <job dir> <runs>"""

import os
import re
import statistics
import subprocess
import sys
import time

import numpy as np

build, job, runs = sys.argv[1], sys.argv[2], int(sys.argv[3])
sys.path.insert(0, os.path.join(build, "python"))
import vora  # noqa: E402


def read_ri(path):
    m = int(re.search(r"\.s(\d+)p$", path).group(1))
    numbers = []
    for line in open(path):
        line = line.split("!")[0]
        if not line.strip().startswith("#"):
            numbers += [float(t) for t in line.split()]
    records = np.array(numbers).reshape(-1, 1 + 2 * m * m)
    matrices = (records[:, 1::2] + 1j * records[:, 2::2]).reshape(-1, m, m)
    return records[:, 0] * 1e9, matrices.transpose(0, 2, 1) if m == 2 else matrices


lines = [l.split() for l in open(os.path.join(job, "job.map")) if l.strip() and not l.startswith("*")]
n = int(next(l for l in lines if l[0] == "NP")[1])
geometry = np.array([float(x) for x in next(l for l in lines if l[0] == "NP")[2:]]).reshape(n, 4)
f, s = read_ri(os.path.join(job, next(l[1] for l in lines if l[0] == "WS")))
groups = [{"ports": [int(x) for x in l[2:2 + int(l[1])]], "kind": "EP",
           "open": read_ri(os.path.join(job, l[2 + int(l[1])])), "short": read_ri(os.path.join(job, l[3 + int(l[1])]))}
          for l in lines if l[0] == "EP"]
er = float(next(l for l in lines if l[0] == "ER")[1])

python_s, executable_s = [], []
for _ in range(runs):
    t0 = time.perf_counter()
    vora.deembed(f, s, groups, geometry=geometry, max_permittivity=er)
    python_s.append(time.perf_counter() - t0)
    t0 = time.perf_counter()
    subprocess.run([os.path.join(build, "vora"), "-filepath", job + "/", "-in", "job.map", "-out", "out.s%dp" % n],
                   check=True, stdout=subprocess.DEVNULL)
    executable_s.append(time.perf_counter() - t0)
p, e = statistics.median(python_s), statistics.median(executable_s)
print("%-16s python %7.3f  executable %7.3f  ratio %5.2f %s" % (
    "cal-16p-1001", p, e, p / e, "ok" if p / e <= 1.2 else "OVER"))
