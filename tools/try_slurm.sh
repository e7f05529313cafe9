#!/bin/sh
# try_slurm.sh [PROGRAM]: a farm of one machine. Starts munge and Slurm (controller and node on loopback) in a folder of
# their own, saves 480 frames in an array of 16 tasks, of which the fifth is killed on its way and queued again, and
# fails unless the frames have the bytes of a run without a farm and each was written once.
# Needs root and the Debian packages slurm-wlm, munge and inotify-tools.
set -eu
source=$(cd "$(dirname "$0")/.." && pwd)
program=${1:-$source/build/release/bin/kestrin}
folder=$(mktemp -d /tmp/kestrin_slurm.XXXXXX)
started=
leave() {
  for process in $started; do kill "$process" 2>/dev/null || true; done
  wait 2>/dev/null || true
  [ -n "${KEEP:-}" ] || rm -rf "$folder"
}
trap leave EXIT
trap 'exit 1' INT TERM
fail() {
  echo "try_slurm.sh: $*" >&2
  tail -n 20 "$folder"/*.log "$folder"/tasks/* >&2 2>/dev/null || true
  exit 1
}

# Calls "$@" until it succeeds, for at most a minute.
await() {
  tries=600
  until "$@" >/dev/null 2>&1; do
    tries=$((tries - 1))
    [ $tries -gt 0 ] || fail "in vain: $*"
    sleep 0.1
  done
}

cd "$folder"
chmod 755 .
mkdir state spool tasks farm alone
export XDG_CONFIG_HOME="$folder/config" XDG_DATA_HOME="$folder/data" XDG_STATE_HOME="$folder/state_home" KESTRIN_TRANSIENT=1

# --- the frames, and the command that composites them ---
"$program" --new_text_layer=480 --mask_size=320,180 --layer_resize_to_mask '--text={timeline:frame}' --text_size=120 \
  --timeline=480 --wa_end=480 "--save_mask_as_sequence=$folder/in.####.tga" --exit=status
cat >comp.ksncmd <<END
$folder/in.####.tga --gain=0.5,1,2 --scale_x=75 --mask_size=640,360
END
"$program" comp.ksncmd "--save_mask_as_sequence=$folder/alone/comp.####.png" --exit=status
[ "$(ls alone | wc -l)" = 480 ] || fail "not 480 frames without a farm"

# --- munge, the controller and the node ---
host=$(hostname -s)
dd if=/dev/urandom of=munge.key bs=1024 count=1 2>/dev/null
chmod 600 munge.key
munged --foreground --force --socket="$folder/munge.socket" --key-file="$folder/munge.key" --pid-file="$folder/munge.pid" \
  --log-file="$folder/munge.log" --seed-file="$folder/munge.seed" 2>munge_start.log &
started="$!"
cat >slurm.conf <<END
ClusterName=kestrin
SlurmctldHost=$host(127.0.0.1)
SlurmctldPort=26817
SlurmdPort=26818
SlurmUser=root
SlurmdUser=root
AuthType=auth/munge
AuthInfo=socket=$folder/munge.socket
CredType=cred/munge
StateSaveLocation=$folder/state
SlurmdSpoolDir=$folder/spool
SlurmctldPidFile=$folder/slurmctld.pid
SlurmdPidFile=$folder/slurmd.pid
SlurmctldLogFile=$folder/slurmctld.log
SlurmdLogFile=$folder/slurmd.log
ProctrackType=proctrack/pgid
TaskPlugin=task/none
JobAcctGatherType=jobacct_gather/none
SelectType=select/cons_tres
SelectTypeParameters=CR_CPU
SchedulerParameters=sched_interval=1,batch_sched_delay=0
SlurmdParameters=config_overrides
ReturnToService=2
MailProg=/bin/true
NodeName=$host NodeAddr=127.0.0.1 CPUs=4 State=UNKNOWN
PartitionName=farm Nodes=$host Default=YES MaxTime=10 State=UP
END
export SLURM_CONF="$folder/slurm.conf"
await test -S munge.socket
slurmctld -D -i >slurmctld_start.log 2>&1 &
started="$! $started"
await scontrol ping
slurmd -D >slurmd_start.log 2>&1 &
started="$! $started"
await sh -c "sinfo --noheader --format=%t | grep -q idle"
echo "Slurm runs: $(sinfo --noheader --format='%D node, %c processors, %T')"

# --- an array of 16 tasks; the fifth is killed once it has written a frame ---
inotifywait --monitor --quiet --event moved_to --format %f farm >renames.log 2>/dev/null &
watcher=$!
started="$watcher $started"
sleep 0.5
cat >task.sh <<END
#!/bin/sh
#SBATCH --array=1-16 --job-name=comp --output=$folder/tasks/%a.log --open-mode=append --requeue
save() {
  exec "$program" $folder/comp.ksncmd --chunk=\$SLURM_ARRAY_TASK_ID/16 --skip_existing \\
    --save_mask_as_sequence=$folder/farm/comp.####.png --exit=status
}
if [ \$SLURM_ARRAY_TASK_ID = 5 ] && [ ! -e $folder/killed ]; then
  save & task=\$!
  until [ -e $folder/farm/comp.0122.png ]; do :; done
  kill -9 \$task
  wait \$task
  code=\$?
  ls $folder/farm/comp.01[2-4]?.png >$folder/killed
  exit \$code
fi
save
END
job=$(sbatch --parsable task.sh)
await test -e killed
await sh -c "scontrol show job ${job}_5 | grep -q JobState=FAILED"
echo "Task 5 was killed: $(scontrol show job "${job}_5" | grep -o 'ExitCode=[0-9:]*'), $(wc -l <killed) of its 30 frames were written"
scontrol requeue "${job}_5"
scontrol update "JobId=${job}_5" StartTime=now  # and not in two minutes
await sh -c "[ -z \"\$(squeue --noheader --states=all --format=%T | grep -v COMPLETED)\" ]"

# --- what came of it ---
sleep 0.5
kill "$watcher"
squeue --states=all --noheader --format='%T' | sort | uniq -c | sed 's/^ */Tasks: /'
[ "$(cat tasks/*.log)" = Killed ] || fail "a task wrote something"
[ "$(wc -l <killed)" -lt 30 ] || fail "task 5 was through before it was killed"
diff -r alone farm || fail "other bytes than without a farm"
[ "$(ls farm | wc -l)" = 480 ] || fail "not 480 frames"
[ "$(sort renames.log | uniq -d | wc -l)" = 0 ] || fail "written twice: $(sort renames.log | uniq -d | tr '\n' ' ')"
[ "$(sort -u renames.log | wc -l)" = 480 ] || fail "not all frames were seen"
echo "480 frames, the same bytes as one run, each written once"
