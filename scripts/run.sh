#!/bin/bash
# Installs what is missing, builds, and runs brantix once with the example
# read command file in a fresh directory out/run/. A usable NVMe drive on this
# host is used directly; without one the run goes to the built-in simulated
# drive. The script exits with brantix's own exit code.
set -euo pipefail
repo=$(cd "$(dirname "$0")/.." && pwd)

"$repo/scripts/setup.sh"
"$repo/scripts/build.sh" build

run_dir="$repo/out/run"
rm -rf "$run_dir"
mkdir -p "$run_dir"
cp "$repo/commands/read.cmd.json" "$run_dir/"

# A drive is usable when the kernel lists an NVMe controller and one of the
# controller nodes opens for reading and writing.
have_drive=no
if compgen -G "/sys/class/nvme/nvme*" >/dev/null; then
    for node in /dev/nvme[0-9]*; do
        case "$node" in
            *n[0-9]*) continue ;;  # namespace block devices, not controllers
        esac
        if [ -c "$node" ] && (exec 3<>"$node") 2>/dev/null; then
            have_drive=yes
            break
        fi
    done
fi

brantix="$repo/build/source/brantix"
cd "$run_dir"
set +e
if [ "$have_drive" = yes ]; then
    echo "run.sh: running brantix on this host's NVMe drive in $run_dir"
    "$brantix"
else
    echo "run.sh: no usable NVMe drive here; running brantix on the simulated demo drive in $run_dir"
    "$repo/scripts/with-simulator" demo -- "$brantix"
fi
rc=$?
set -e
echo "run.sh: brantix exited with $rc; files in $run_dir:"
ls -1 "$run_dir"
exit $rc
