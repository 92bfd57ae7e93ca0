"""Worked example: a job with a known answer, de-embedded from Python.

vora-jobgen writes a 4-port test structure whose two pairs of port leads are known as arm
S files, and the device inside it (device.s4p). The script reads the files, de-embeds in
memory, compares with the device and draws |S| before and after.

    PYTHONPATH=build/python python3 examples/python/worked_example.py \\
        build/tools/vora-jobgen /tmp/worked-example worked-example.png
"""

import subprocess
import sys

import matplotlib

matplotlib.use("Agg")  # draw into a file, no display needed
import matplotlib.pyplot as plt  # noqa: E402
import numpy as np  # noqa: E402

import vora  # noqa: E402

jobgen, folder, picture = sys.argv[1:4]

# 1. A job with a known answer: 4 ports, leads 1-2 and 3-4 described by their arm S files.
subprocess.run([jobgen, "--ports", "4", "--group", "1,2:ES", "--group", "3,4:ES", "--points", "201", folder],
               check=True, stdout=subprocess.DEVNULL)

# 2. The data as numpy arrays: frequencies in Hz, S as (K, N, N) complex.
f, s_whole, _ = vora.read_touchstone(folder + "/whole.s4p")
groups = []
for ports, name in (([1, 2], "arm1.s4p"), ([3, 4], "arm2.s4p")):
    f_arm, s_arm, _ = vora.read_touchstone(folder + "/" + name)
    groups.append({"ports": ports, "kind": "ES", "arm": (f_arm, s_arm)})

# 3. De-embed in memory; a failure would raise vora.Error with the log's reason.
s_device, log = vora.deembed(f, s_whole, groups, reference_resistance=50.0)

# 4. Compare with the device the job was built from.
_, s_true, _ = vora.read_touchstone(folder + "/device.s4p")
error = np.max(np.abs(s_device - s_true))
print("largest |S - S_device| over %d frequencies: %.2e" % (len(f), error))

# 5. Plot raw, de-embedded and true |S21| and |S31|.
fig, ax = plt.subplots(figsize=(7, 4))
for (i, j), colour in (((1, 0), "tab:blue"), ((2, 0), "tab:orange")):
    label = "S%d%d" % (i + 1, j + 1)
    ax.plot(f / 1e9, 20 * np.log10(np.abs(s_whole[:, i, j])), ":", color=colour, label=label + " raw")
    ax.plot(f / 1e9, 20 * np.log10(np.abs(s_device[:, i, j])), "-", color=colour, label=label + " de-embedded")
    ax.plot(f / 1e9, 20 * np.log10(np.abs(s_true[:, i, j])), "--", color="black", linewidth=0.8)
ax.set_xlabel("frequency (GHz)")
ax.set_ylabel("|S| (dB)")
ax.legend(fontsize=8)
fig.tight_layout()
fig.savefig(picture, dpi=100)
print("wrote " + picture)
sys.exit(0 if error < 1e-6 else 1)
