#!/usr/bin/env bash
# A throw-away single-node Slurm on this machine, to try slurm-batch.sbatch without a cluster
# (the test suite uses it too): munged, slurmctld and slurmd of Debian's slurm-wlm and munge,
# with their own key, configuration, state, logs and pid files in one folder and two free
# ports, so that they neither use nor disturb a Slurm or munge set up on the machine.
#
#   slurm-local.sh start <folder>   starts the three (as root), waits until the node is idle
#                                   and prints SLURM_CONF=<folder>/slurm.conf for the clients
#   slurm-local.sh stop <folder>    stops the three started in that folder
#
# start exits with 3 where Slurm cannot run here (a package missing, not root, not up within
# 30 s), with the reason on stderr and whatever it started stopped again; 2 on bad use.
set -uo pipefail

if [ $# -ne 2 ] || [[ ! $1 =~ ^(start|stop)$ ]] || ! mkdir -p "$2"; then
  sed -n '7,9p' "$0" | sed 's/^#//' >&2
  exit 2
fi
dir=$(cd "$2" && pwd)

stop() {
  local pids
  mapfile -t pids < <(cat "$dir"/munged.pid "$dir"/slurmctld.pid "$dir"/slurmd.pid 2>/dev/null)
  [ ${#pids[@]} -gt 0 ] || return 0
  kill "${pids[@]}" 2>/dev/null
  for _ in $(seq 20); do
    kill -0 "${pids[@]}" 2>/dev/null || break
    sleep 0.5
  done
  kill -KILL "${pids[@]}" 2>/dev/null
  # A pid file left behind could later name someone else's process.
  rm -f "$dir"/munged.pid "$dir"/slurmctld.pid "$dir"/slurmd.pid
}
cannot() { echo "slurm-local: $*" >&2; stop; exit 3; }

if [ "$1" = stop ]; then
  stop
  exit 0
fi

for p in munged slurmctld slurmd sinfo; do
  command -v $p >/dev/null || cannot "$p not found (Debian packages slurm-wlm and munge)"
done
[ "$(id -u)" -eq 0 ] || cannot "slurmd must run as root to start jobs as their owners"
port=$((20000 + RANDOM % 20000))
while (: </dev/tcp/127.0.0.1/$port || : </dev/tcp/127.0.0.1/$((port + 1))) 2>/dev/null; do
  port=$((port + 2))
done
export SLURM_CONF=$dir/slurm.conf
# Process tracking without cgroups and no accounting, so that nothing but this folder is needed.
cat >"$SLURM_CONF" <<EOF
ClusterName=vora
SlurmctldHost=$(hostname -s)(127.0.0.1)
SlurmctldPort=$port
SlurmdPort=$((port + 1))
SlurmUser=root
AuthInfo=socket=$dir/munge.socket
StateSaveLocation=$dir
SlurmdSpoolDir=$dir
SlurmctldPidFile=$dir/slurmctld.pid
SlurmdPidFile=$dir/slurmd.pid
SlurmctldLogFile=$dir/slurmctld.log
SlurmdLogFile=$dir/slurmd.log
ProctrackType=proctrack/linuxproc
TaskPlugin=task/none
MpiDefault=none
ReturnToService=2
NodeName=vora-node NodeAddr=127.0.0.1 CPUs=$(nproc)
PartitionName=batch Nodes=ALL Default=YES MaxTime=INFINITE State=UP
EOF
[ -f "$dir/munge.key" ] || (umask 077 && head -c 1024 /dev/urandom >"$dir/munge.key")
# --force: munged refuses to run as root, or with its socket in a folder others may read, without it.
munged --force --socket="$dir/munge.socket" --key-file="$dir/munge.key" \
  --log-file="$dir/munged.log" --pid-file="$dir/munged.pid" --seed-file="$dir/munged.seed" ||
  cannot "munged did not start: $(tail -n 1 "$dir/munged.log")"
slurmctld || cannot "slurmctld did not start: $(tail -n 1 "$dir/slurmctld.log")"
slurmd -N vora-node || cannot "slurmd did not start: $(tail -n 1 "$dir/slurmd.log")"
for _ in $(seq 30); do
  if [ "$(timeout 5 sinfo -h -o %t 2>/dev/null)" = idle ]; then
    echo "SLURM_CONF=$SLURM_CONF"
    exit 0
  fi
  sleep 1
done
cannot "the node was not idle within 30 s: $(tail -q -n 1 "$dir"/slurm*.log | tr '\n' ' ')"
