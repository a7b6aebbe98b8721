#!/usr/bin/env bash
# Renders a short sequence on a real Slurm cluster and checks it against one local render.
#
#   bash tests/integration/slurm-test.sh [path/to/tavrin]      (as root; default build/cli/tavrin)
#
# Installs Slurm and MUNGE from Debian's packages (scripts/install-deps.sh --slurm), starts a
# one-node cluster on this machine from a slurm.conf generated in a temporary folder (its own
# MUNGE key and socket, state, spool, logs and pid files there too, free ports on 127.0.0.1),
# submits scripts/slurm/render-array.sbatch as a 4-task array over 8 frames, waits for it
# (bounded), and checks that every frame exists and is byte-identical to the same frame rendered
# in one process. It then removes two frames and a whole task's report, submits the same array
# again and checks that only the missing frames were drawn (--skip-existing). The daemons it
# started are stopped by their process ids when it exits, whatever happens. When a daemon does
# not come up, the test fails and prints the daemons' logs.
set -euo pipefail

root=$(cd "$(dirname "$0")/../.." && pwd)
tavrin=$(realpath "${1:-$root/build/cli/tavrin}")
started=$(date +%s)

fail() {
  echo "slurm-test: FAIL: $*" >&2
  exit 1
}

[ -x "$tavrin" ] || fail "no tavrin binary at $tavrin; build first"
[ "$(id -u)" -eq 0 ] || fail "the Slurm node daemon needs root; run as root (CI does)"
bash "$root/scripts/install-deps.sh" --slurm

# Everything of this cluster lives here. MUNGE wants its socket's folder readable by all.
work=$(mktemp -d /tmp/tavrin-slurm.XXXXXX)
chmod 755 "$work"
mkdir -p "$work/state" "$work/spool" "$work/logs" "$work/reports"
pids=()
passed=0

print_logs() {
  for f in "$work"/logs/*; do
    [ -f "$f" ] || continue
    echo "----- $f" >&2
    tail -n 60 "$f" >&2
  done
}

cleanup() {
  local code=$?
  for pid in "${pids[@]}"; do kill "$pid" 2>/dev/null || true; done
  # Give the daemons a few seconds to go, then make sure.
  for _ in $(seq 50); do
    local alive=0
    for pid in "${pids[@]}"; do kill -0 "$pid" 2>/dev/null && alive=1; done
    [ $alive -eq 0 ] && break
    sleep 0.1
  done
  for pid in "${pids[@]}"; do kill -9 "$pid" 2>/dev/null || true; done
  if [ $passed -ne 1 ]; then
    print_logs
    echo "slurm: 0 passed, 1 failed"
  fi
  rm -rf "$work"
  exit $code
}
trap cleanup EXIT

# A port nothing listens on, from a range above the usual ones.
free_port() {
  local port
  for _ in $(seq 200); do
    port=$((20000 + RANDOM % 40000))
    if ! (exec 3<>"/dev/tcp/127.0.0.1/$port") 2>/dev/null; then
      echo "$port"
      return
    fi
  done
  fail "no free port found"
}

# Waits up to $2 seconds for the command after them to succeed while daemon $1 (a name=pid)
# runs; fails at once when the daemon exits, and after the time.
wait_for() {
  local name=${1%%=*} pid=${1#*=} seconds=$2
  shift 2
  local deadline=$(($(date +%s) + seconds))
  until "$@" >/dev/null 2>&1; do
    kill -0 "$pid" 2>/dev/null || fail "$name (pid $pid) exited at start; the logs follow"
    [ "$(date +%s)" -lt "$deadline" ] || fail "$name (pid $pid) not ready after $seconds s: $*"
    sleep 0.2
  done
}

# MUNGE: a fresh key, the daemon in the foreground in the background.
mungekey --create --keyfile="$work/munge.key"
chmod 600 "$work/munge.key"
munged --foreground --socket="$work/munge.socket" --key-file="$work/munge.key" \
  --pid-file="$work/munged.pid" --seed-file="$work/munged.seed" \
  --log-file="$work/logs/munged.log" >>"$work/logs/munged.out" 2>&1 &
pids+=($!)
munge_works() { munge -n -S "$work/munge.socket" | unmunge -S "$work/munge.socket"; }
wait_for "munged=${pids[-1]}" 15 munge_works

node=$(hostname -s)
cpus=$(nproc)
memory=$(($(awk '/MemTotal/ {print $2}' /proc/meminfo) / 1024 / 2))
ctld_port=$(free_port)
slurmd_port=$(free_port)
while [ "$slurmd_port" = "$ctld_port" ]; do slurmd_port=$(free_port); done
export SLURM_CONF="$work/slurm.conf"
cat >"$SLURM_CONF" <<CONF
# A one-node cluster for tavrin's farm test; no cgroups (they do not work in containers), no
# accounting.
ClusterName=tavrintest
SlurmctldHost=$node(127.0.0.1)
SlurmctldPort=$ctld_port
SlurmdPort=$slurmd_port
SlurmUser=root
SlurmdUser=root
AuthType=auth/munge
AuthInfo=socket=$work/munge.socket
CredType=cred/munge
StateSaveLocation=$work/state
SlurmdSpoolDir=$work/spool
SlurmctldPidFile=$work/slurmctld.pid
SlurmdPidFile=$work/slurmd.pid
SlurmctldLogFile=$work/logs/slurmctld.log
SlurmdLogFile=$work/logs/slurmd.log
ProctrackType=proctrack/linuxproc
TaskPlugin=task/none
SelectType=select/cons_tres
SelectTypeParameters=CR_CPU
MpiDefault=none
ReturnToService=2
JobAcctGatherType=jobacct_gather/none
AccountingStorageType=accounting_storage/none
MailProg=/bin/true
SlurmctldDebug=info
SlurmdDebug=info
NodeName=$node NodeAddr=127.0.0.1 CPUs=$cpus RealMemory=$memory State=UNKNOWN
PartitionName=farm Nodes=$node Default=YES MaxTime=INFINITE State=UP
CONF

slurmctld -D -i >>"$work/logs/slurmctld.out" 2>&1 &
pids+=($!)
wait_for "slurmctld=${pids[-1]}" 20 scontrol ping
slurmd -D >>"$work/logs/slurmd.out" 2>&1 &
pids+=($!)
node_idle() { [ "$(sinfo -h -n "$node" -o %T)" = "idle" ]; }
wait_for "slurmd=${pids[-1]}" 30 node_idle
echo "slurm-test: cluster up: node $node, $cpus CPUs, ports $ctld_port/$slurmd_port" >&2

# The shipped turning sphere, made small: 8 frames, every 8th of its 60.
sed -e 's/"width": 1280/"width": 96/' -e 's/"height": 720/"height": 54/' \
  "$root/examples/sphere-of-points.json" >"$work/sphere.json"
grep -q '"width": 96' "$work/sphere.json" || fail "could not shrink the example document"
frames=0-59:8
expected=(0000 0008 0016 0024 0032 0040 0048 0056)

"$tavrin" render "$work/sphere.json" --frames "$frames" -o "$work/local/f_####.png" \
  >"$work/logs/local.out" 2>&1 || fail "the local render failed: $(cat "$work/logs/local.out")"

submit() {
  local label=$1
  TAVRIN="$tavrin" timeout 120 sbatch --wait --array=0-3 --chdir="$work" \
    --output="$work/reports/$label-%a.json" --error="$work/logs/task-$label-%a.log" \
    "$root/scripts/slurm/render-array.sbatch" "$work/sphere.json" "$work/farm/f_####.png" \
    --frames "$frames" >>"$work/logs/sbatch.out" 2>&1 ||
    fail "the $label array did not finish within 120 s or a task failed: $(cat "$work/logs/sbatch.out")"
}

# Counts a status over a run's task reports ("status": "rendered" lines).
count_status() {
  cat "$work/reports/$1"-*.json | grep -c "\"status\": \"$2\"" || true
}

compare_frames() {
  local got
  got=$(cd "$work/farm" && ls)
  [ "$got" = "$(printf 'f_%s.png\n' "${expected[@]}")" ] ||
    fail "$1: the farm wrote $(echo $got), not the 8 frames"
  for n in "${expected[@]}"; do
    cmp -s "$work/farm/f_$n.png" "$work/local/f_$n.png" ||
      fail "$1: frame $n differs from the local render"
  done
}

submit first
for task in 0 1 2 3; do
  report="$work/reports/first-$task.json"
  [ -s "$report" ] || fail "task $task wrote no report"
  grep -q '"ok": true' "$report" || fail "task $task: $(cat "$report")"
  grep -q "\"index\": $task," "$report" || fail "task $task rendered another shard: $(cat "$report")"
  grep -q '"count": 4,' "$report" || fail "task $task did not see 4 shards"
done
[ "$(count_status first rendered)" -eq 8 ] || fail "the tasks did not render 8 frames in all"
compare_frames "first run"

# A re-queued job after a kill: two frames gone, one left as a temporary file only (of a process
# that is not running), which the resumed task removes.
rm "$work/farm/f_0008.png" "$work/farm/f_0040.png"
echo "half" >"$work/farm/.f_0040.png.tmp99999_0"
submit again
[ "$(count_status again rendered)" -eq 2 ] || fail "the resumed run drew other than the 2 missing frames"
[ "$(count_status again skipped)" -eq 6 ] || fail "the resumed run did not skip the 6 finished frames"
[ ! -e "$work/farm/.f_0040.png.tmp99999_0" ] || fail "the resumed run left the killed run's temporary file"
compare_frames "resumed run"

passed=1
echo "slurm-test: 8 frames from a 4-task array match the local render, and a resumed array drew" \
  "only the 2 missing frames ($(($(date +%s) - started)) s)"
echo "slurm: 1 passed, 0 failed"
