#!/bin/sh
# Runs inside the test machine. Every step keeps its standard output, its
# errors and its exit code in the results folder ($1); the script's own exit
# code is the number of steps whose exit code was not the one expected.
#
# The kernel command line names the boot (brantix.boot=...):
# - multipath (Debian's default, nvme_core.multipath=Y): the first
#   controller's full cross-check, the kernel's NVMe target over TCP and the
#   controller whose only namespace is NSID 2 read and cross-checked, every
#   controller read by each form of --nvme, and the sanitize in-use checks;
# - multipath-off (nvme_core.multipath=N): the drive overview and the
#   sanitize in-use checks again, where each controller names the shared
#   namespaces after itself.
# Steps made with `check` leave their verdict to the cross-check on the host,
# which knows the group each belongs to (see tests/vm/crosscheck.cpp).
out=$1
cd "$out" || exit 1
failures=0
# A step that hangs is killed (exit code 143) and counts as failed, so the
# results still come back.
STEP_TIMEOUT=60
boot=$(sed -n 's/.*brantix\.boot=\([^ ]*\).*/\1/p' /proc/cmdline)

# step NAME EXPECTED COMMAND...: runs COMMAND in a folder of its own, keeps
# NAME.out, NAME.err and a line "NAME <code>" in codes. EXPECTED "-" leaves
# the exit code to the cross-check, which knows what the controller supports.
# A shell function of this script runs without the time limit (each bounds
# its own waits).
step() {
    name=$1
    expected=$2
    shift 2
    mkdir -p "$out/$name"
    limit="timeout $STEP_TIMEOUT"
    if type "$1" | grep -q function; then
        limit=
    fi
    started=$(cut -d ' ' -f 1 /proc/uptime)
    (cd "$out/$name" && $limit "$@") > "$out/$name.out" 2> "$out/$name.err"
    code=$?
    took=$(awk -v started="$started" '{ printf "%.1f s", $1 - started }' /proc/uptime)
    echo "$name $code" >> "$out/codes"
    if [ "$expected" = "-" ]; then
        echo "ran  $name (exit code $code, judged by the cross-check; $took)"
    elif [ "$code" = "$expected" ]; then
        echo "ok   $name (exit code $code; $took)"
    else
        echo "FAIL $name: exit code $code, expected $expected ($took)"
        failures=$((failures + 1))
    fi
    rmdir "$out/$name" 2>/dev/null
}

# check GROUP NAME EXPECTED COMMAND...: a step whose exit code the cross-check
# compares with EXPECTED, as one of the checks of GROUP ("expected" file).
check() {
    echo "$2 $3 $1" >> "$out/expected"
    check_name=$2
    shift 3
    step "$check_name" - "$@"
}

# until_true COMMAND...: runs COMMAND every 0.1 s until it succeeds, for at
# most 30 s; ends as its last run did.
until_true() {
    tries=0
    while ! "$@" && [ $tries -lt 300 ]; do
        sleep 0.1
        tries=$((tries + 1))
    done
    "$@"
}

# At least $1 controllers live and $2 namespace block devices.
controllers_ready() {
    live=0
    for state in /sys/class/nvme/nvme*/state; do
        [ "$(cat "$state" 2>/dev/null)" = live ] && live=$((live + 1))
    done
    [ "$live" -ge "$1" ] && [ "$(ls /dev | grep -c '^nvme[0-9]*n[0-9]*$')" -ge "$2" ]
}

# The numbers N of the controllers /dev/nvmeN whose serial number is $1.
controller() {
    for c in /sys/class/nvme/nvme*; do
        if [ "$(tr -d ' ' < "$c/serial")" = "$1" ]; then
            echo "${c##*/nvme}"
        fi
    done
}

# The block devices of controller $1, from its own sysfs entries: its
# namespaces nvme<N>n<M>, or the heads nvme<S>n<M> over its hidden paths
# nvme<S>c<N>n<M>.
block_devices() {
    for entry in /sys/class/nvme/nvme"$1"/nvme*n*; do
        [ -e "$entry" ] && echo "${entry##*/}" | sed 's/c[0-9]*n/n/'
    done | sort -u | tr '\n' ' '
}

# One line per controller: "nvme<N> <transport> <serial> <state> <subsystem
# NQN> <address> : <block devices>".
topology() {
    for c in /sys/class/nvme/nvme*; do
        n=${c##*/nvme}
        echo "nvme$n $(cat "$c/transport") $(tr -d ' ' < "$c/serial") $(cat "$c/state")" \
            "$(cat "$c/subsysnqn") $(cat "$c/address") : $(block_devices "$n")"
    done > "$out/topology.txt"
    cat "$out/topology.txt"
}

# The kernel's own NVMe target: one subsystem whose namespace is a null_blk
# device, on a TCP port of the loopback address, connected to by nvme-cli.
TARGET_NQN=nqn.2026-11.test.brantix:target
target() {
    ip link set lo up || return 1
    mount -t configfs configfs /sys/kernel/config || return 1
    cfg=/sys/kernel/config/nvmet
    subsystem=$cfg/subsystems/$TARGET_NQN
    mkdir "$subsystem" "$subsystem/namespaces/1" "$cfg/ports/1" || return 1
    echo 1 > "$subsystem/attr_allow_any_host"
    echo BRX00000005 > "$subsystem/attr_serial"
    echo /dev/nullb0 > "$subsystem/namespaces/1/device_path"
    echo 1 > "$subsystem/namespaces/1/enable" || return 1
    echo tcp > "$cfg/ports/1/addr_trtype"
    echo ipv4 > "$cfg/ports/1/addr_adrfam"
    echo 127.0.0.1 > "$cfg/ports/1/addr_traddr"
    echo 4420 > "$cfg/ports/1/addr_trsvcid"
    ln -s "$subsystem" "$cfg/ports/1/subsystems/$TARGET_NQN" || return 1
    nvme connect -t tcp -a 127.0.0.1 -s 4420 -n "$TARGET_NQN" \
        --hostnqn=nqn.2014-08.org.nvmexpress:uuid:00000000-0000-0000-0000-0000000b4a17 \
        --hostid=00000000-0000-0000-0000-0000000b4a17
}

# clients DIR N NSID: nvme-cli's view of controller N in DIR, laid out as for
# the first controller (tests/support/crosscheck.h); features are asked for
# with namespace NSID, the lowest active one.
clients() {
    dir=$out/$1
    mkdir -p "$dir"
    if [ "$3" = 1 ]; then
        nvme id-ns "/dev/nvme$2" -n 1 -o json > "$dir/id-ns.out" 2> "$dir/id-ns.err"
    fi
    for log in id-ctrl smart-log fw-log; do
        nvme "$log" "/dev/nvme$2" -o json > "$dir/$log.out" 2> "$dir/$log.err"
    done
    nvme effects-log "/dev/nvme$2" -c 0 -o json > "$dir/effects-log.out" 2> "$dir/effects-log.err"
    for fid in 01 02 03 04 05 06 07 08 09 0A 0B 0C 0D 0E 0F 10 11 12 13 14 15 16 18; do
        nvme get-feature "/dev/nvme$2" -n "$3" -s 0 -f 0x$fid > "$dir/feature-$fid.out" 2>&1
    done
    nvme get-feature "/dev/nvme$2" -n "$3" -s 0 -f 0x04 -c 0x100000 > "$dir/feature-04-under.out" 2>&1
}

# in_use SCENARIO CONTROLLER...: with a namespace of the shared subsystem in
# use, a sanitize of each controller of that subsystem must end with 43
# without sending a Sanitize command; the kernel's trace of every command
# set up (trace-SCENARIO.txt) shows which were sent. An Identify to each
# controller first shows that the trace records.
in_use() {
    scenario=$1
    shift
    trace=/sys/kernel/tracing
    echo > "$trace/trace"
    echo 1 > "$trace/events/nvme/nvme_setup_cmd/enable"
    for n in "$@"; do
        nvme id-ctrl "/dev/nvme$n" > /dev/null
    done
    for n in "$@"; do
        check topology "sanitize-$scenario-nvme$n" 43 /vm/brantix /vm/sanitize-block --nvme "$n" \
            -d "$out/sanitize-$scenario-nvme$n"
    done
    echo 0 > "$trace/events/nvme/nvme_setup_cmd/enable"
    cp "$trace/trace" "$out/trace-$scenario.txt"
}

# hold DEVICE: /vm/hold keeps DEVICE open with O_EXCL in the background
# (its process id in $holder) until `kill $holder`; the step "hold" waits
# until it has.
hold() {
    /vm/hold "$1" > "$out/hold.txt" 2>&1 &
    holder=$!
    step hold 0 until_true grep -q held "$out/hold.txt"
}

echo "kernel $(uname -r), boot $boot"
for module in $(cat /vm/modules/order); do
    case $module in
        null_blk.ko) insmod "/vm/modules/$module" gb=1 ;;
        *) insmod "/vm/modules/$module" ;;
    esac || {
        echo "FAIL insmod $module"
        failures=$((failures + 1))
    }
done
mount -t tracefs tracefs /sys/kernel/tracing

# QEMU's four controllers with their namespaces: one block device each for
# the first two, and the shared subsystem's two namespaces once (multipath)
# or once per controller.
if [ "$boot" = multipath ]; then
    step controllers 0 until_true controllers_ready 4 4
    step tcp-target 0 target
    step tcp-controller 0 until_true controllers_ready 5 5
else
    step controllers 0 until_true controllers_ready 4 6
fi
main=$(controller BRX00000001)
nsid2=$(controller BRX00000002)
# The controllers of one NVM subsystem share its serial number.
shared=$(controller BRX00000003)
shared_a=$(echo $shared | cut -d ' ' -f 1)
shared_b=$(echo $shared | cut -d ' ' -f 2)
tcp=$(controller BRX00000005)
echo "controllers: main $main, NSID 2 only $nsid2, shared $shared_a $shared_b, tcp $tcp"
topology
ls -l /sys/class/nvme/ /sys/block/ 2>&1
step list-subsys 0 nvme list-subsys -o json

if [ "$boot" = multipath ]; then
    # The first controller: the independent clients first, before brantix
    # touches the drive.
    step main-is-nvme0 0 test "$main" = 0
    step nvme-list 0 nvme list -o json
    step id-ctrl 0 nvme id-ctrl /dev/nvme0 -o json
    step id-ns 0 nvme id-ns /dev/nvme0 -n 1 -o json
    step smart-log 0 nvme smart-log /dev/nvme0 -o json
    step error-log 0 nvme error-log /dev/nvme0 -o json
    step fw-log 0 nvme fw-log /dev/nvme0 -o json
    # Without --csi nvme-cli 2.3 prints nothing here and ends with 1.
    step effects-log 0 nvme effects-log /dev/nvme0 -c 0 -o json
    # get-feature prints one "Current value:0x..." line per feature (namespace
    # 1, as brantix asks); features the controller does not know end with an
    # NVMe status, which is kept as it is.
    feature() {
        nvme get-feature /dev/nvme0 -n 1 -s 0 "$@" 2>&1
    }
    for fid in 01 02 03 04 05 06 07 08 09 0A 0B 0C 0D 0E 0F 10 11 12 13 14 15 16 18; do
        feature -f 0x$fid > "$out/feature-$fid.out"
        echo "feature-$fid $?" >> "$out/codes"
    done
    feature -f 0x04 -c 0x100000 > "$out/feature-04-under.out"
    echo "feature-04-under $?" >> "$out/codes"

    # The PCI functions as the kernel lays them out, for the host facts.
    device=$(readlink -f /sys/class/nvme/nvme0/device)
    port=$(dirname "$device")
    for file in vendor device current_link_speed current_link_width max_link_speed max_link_width; do
        echo "controller $file $(cat "$device/$file" 2>&1)"
        echo "port $file $(cat "$port/$file" 2>&1)"
    done > "$out/sysfs.txt"
    echo "controller address $(basename "$device")" >> "$out/sysfs.txt"
    echo "port address $(basename "$port")" >> "$out/sysfs.txt"
    # The controller reports critical warnings (see scripts/vm-test), so
    # smartctl ends with its "disk failing" bit (8).
    step smartctl 8 smartctl -x -j /dev/nvme0

    # brantix: usage, then the read command files.
    step brantix-usage 0 /vm/brantix -u
    step brantix-read-all 0 /vm/brantix /vm/read-all --nvme 0 -d "$out/read-all"
    step brantix-read-system 0 /vm/brantix /vm/read-system --nvme 0 -d "$out/read-system"
    # Real values against the health rules: QEMU's controller reports an
    # available spare of 0 %, which breaks "'Available Spare' > 10 %" in every
    # sample; with a fail limit of 0 that ends with 22.
    step brantix-read-rules 22 /vm/brantix /vm/read-rules --nvme 0 -d "$out/read-rules"
    step brantix-missing-drive 19 /vm/brantix /vm/read-all --nvme 7 -d "$out/missing-drive"
    # A capture of the controller, replayed on the host by scripts/vm-test
    # and compared with tests/vm/captures.
    step capture-qemu-pcie 0 /vm/brantix /vm/capture --nvme 0 -d "$out/captures/qemu-pcie"

    # The kernel's target and the controller whose only namespace is NSID 2,
    # each cross-checked like the first (the error log after brantix's read,
    # so that every entry brantix saw is in it).
    clients tcp "$tcp" 1
    check verdicts tcp/brantix-read-all 0 /vm/brantix /vm/read-all --nvme "$tcp" -d "$out/tcp/read-all"
    nvme error-log "/dev/nvme$tcp" -o json > "$out/tcp/error-log.out" 2> "$out/tcp/error-log.err"
    # The target's capture: its error log holds the entries of the features
    # the runs above had refused, as many in every run of this script.
    step capture-nvmet-tcp 0 /vm/brantix /vm/capture --nvme "$tcp" -d "$out/captures/nvmet-tcp"
    clients nsid2 "$nsid2" 2
    check verdicts nsid2/brantix-read-all 0 /vm/brantix /vm/read-all --nvme "$nsid2" \
        -d "$out/nsid2/read-all"

    # Every controller, named in each way --nvme takes: read with the host
    # facts (its drive overview, transport and address), then identified;
    # and the drive "*" stands for.
    check topology identify-default 0 /vm/brantix /vm/identify -d "$out/identify-default"
    for n in $main $nsid2 $shared_a $shared_b $tcp; do
        check topology "read-nvme$n" 0 /vm/brantix /vm/read-system --nvme "$n" -d "$out/read-nvme$n"
        check topology "identify-nvme$n" 0 /vm/brantix /vm/identify --nvme "nvme$n" -d "$out/identify-nvme$n"
        check topology "identify-dev-nvme$n" 0 /vm/brantix /vm/identify --nvme "/dev/nvme$n" \
            -d "$out/identify-dev-nvme$n"
    done
    head=$(block_devices "$shared_a" | cut -d ' ' -f 1)
    second=$(block_devices "$shared_a" | cut -d ' ' -f 2)
    step mkfs 0 mke2fs "/dev/$head"
    step mount 0 mount "/dev/$head" /mnt
    in_use mounted "$shared_a" "$shared_b"
    step umount 0 umount /mnt
    step mkswap 0 mkswap "/dev/$second"
    step swapon 0 swapon "/dev/$second"
    in_use swap "$shared_a" "$shared_b"
    step swapoff 0 swapoff "/dev/$second"
    hold "/dev/$head"
    in_use held "$shared_a" "$shared_b"
    kill "$holder"

    # A sanitize needs the drive named with --nvme.
    check topology sanitize-default 16 /vm/brantix /vm/sanitize-block -d "$out/sanitize-default"

    # Self-test and sanitize on the first controller: whatever it does not
    # support must end with brantix's own failure code; sanitize goes last, as
    # it erases the drive.
    for name in selftest-short selftest-extended sanitize-block sanitize-overwrite sanitize-crypto; do
        step brantix-$name - /vm/brantix /vm/$name --nvme 0 -d "$out/$name"
    done
else
    # Each controller shows the shared namespaces under its own name: the
    # same file system or swap area is in use whichever name it was set up
    # through.
    for n in $shared_a $shared_b; do
        check topology "read-nvme$n" 0 /vm/brantix /vm/read-system --nvme "$n" -d "$out/read-nvme$n"
    done
    step mkfs 0 mke2fs "/dev/nvme${shared_a}n1"
    step mount-a 0 mount "/dev/nvme${shared_a}n1" /mnt
    in_use mounted-a "$shared_a" "$shared_b"
    step umount-a 0 umount /mnt
    step mount-b 0 mount "/dev/nvme${shared_b}n1" /mnt
    in_use mounted-b "$shared_a" "$shared_b"
    step umount-b 0 umount /mnt
    step mkswap 0 mkswap "/dev/nvme${shared_a}n2"
    step swapon 0 swapon "/dev/nvme${shared_a}n2"
    in_use swap "$shared_a" "$shared_b"
    step swapoff 0 swapoff "/dev/nvme${shared_a}n2"
    hold "/dev/nvme${shared_b}n1"
    in_use held "$shared_a" "$shared_b"
    kill "$holder"
fi

exit $failures
