#!/bin/sh
# Runs inside the test machine against its one emulated NVMe controller.
# Every step keeps its standard output, its errors and its exit code in the
# results folder ($1); the script's own exit code is the number of steps
# whose exit code was not the one expected.
out=$1
cd "$out" || exit 1
failures=0

# step NAME EXPECTED COMMAND...: runs COMMAND in a folder of its own, keeps
# NAME.out, NAME.err and a line "NAME <code>" in codes.
step() {
    name=$1
    expected=$2
    shift 2
    mkdir -p "$out/$name"
    (cd "$out/$name" && "$@") > "$out/$name.out" 2> "$out/$name.err"
    code=$?
    echo "$name $code" >> "$out/codes"
    if [ "$code" = "$expected" ]; then
        echo "ok   $name (exit code $code)"
    else
        echo "FAIL $name: exit code $code, expected $expected"
        failures=$((failures + 1))
    fi
    rmdir "$out/$name" 2>/dev/null
}

echo "kernel $(uname -r)"
ls -l /sys/class/nvme/ /sys/block/ 2>&1

# The independent clients first, before brantix touches the drive.
step nvme-list 0 nvme list -o json
step id-ctrl 0 nvme id-ctrl /dev/nvme0 -o json
step id-ns 0 nvme id-ns /dev/nvme0 -n 1 -o json
step smart-log 0 nvme smart-log /dev/nvme0 -o json
step error-log 0 nvme error-log /dev/nvme0 -o json
step fw-log 0 nvme fw-log /dev/nvme0 -o json
# get-feature prints one "Current value:0x..." line per feature; features the
# controller does not know end with a status, which is kept as it is.
for fid in 01 02 03 04 05 06 07 08 09 0A 0B 0C 0D 0E 0F 10 11 12 13 14 15 16 18; do
    nvme get-feature /dev/nvme0 -f 0x$fid -s 0 > "$out/feature-$fid.out" 2>&1
    echo "feature-$fid $?" >> "$out/codes"
done
step smartctl 0 smartctl -x -j /dev/nvme0

# brantix: usage, then the read command files.
step brantix-usage 0 /vm/brantix -u
step brantix-read-all 17 /vm/brantix /vm/read-all -d "$out/read-all"
step brantix-read-system 17 /vm/brantix /vm/read-system -d "$out/read-system"
step brantix-missing-drive 19 /vm/brantix /vm/read-all --nvme 7 -d "$out/missing-drive"

exit $failures
