#!/bin/bash
# Builds the Debian package from an existing build, unpacks it into a scratch
# root and checks what a user gets from it: the package's dependencies and
# files, lintian's verdict, the units' sandbox and syntax as systemd-analyze
# sees them, the man pages, the bash completion, and the installed binary
# running on the simulated drive.
#   scripts/package-test.sh [BUILD_DIR]            (default build dir: build)
set -euo pipefail
repo=$(cd "$(dirname "$0")/.." && pwd)
build=$(cd "${1:-$repo/build}" && pwd)
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
checks=0

fail() {
    echo "package test: FAILED: $*" >&2
    exit 1
}
# expect WHAT EXPECTED ACTUAL
expect() {
    checks=$((checks + 1))
    [ "$2" = "$3" ] || fail "$1"$'\n'"expected: $2"$'\n'"actual:   $3"
}

(cd "$build" && cpack -G DEB -B "$scratch/out" >"$scratch/cpack.log" 2>&1) || {
    cat "$scratch/cpack.log" >&2
    fail "cpack"
}
package=$(ls "$scratch"/out/brantix_*.deb)
dbgsym=$(ls "$scratch"/out/brantix-dbgsym_*.d*deb)

# Dependencies as the binary is linked, found by dpkg-shlibdeps (fmt comes
# through spdlog's own package).
expect "Depends" "libc6, libgcc-s1, libjsoncpp25, libspdlog1.10-fmt9, libstdc++6" \
    "$(dpkg-deb -f "$package" Depends | sed 's/ ([^)]*)//g')"

root=$scratch/root
dpkg -x "$package" "$root"
conffiles="/etc/brantix/fleet-read.cmd.json /etc/brantix/health.rules.json"
expected=$(
    printf '%s\n' /usr/bin/brantix /usr/sbin/brantix-enable-all \
        /usr/lib/systemd/system/brantix-read{,@}.{service,timer} \
        /usr/share/bash-completion/completions/brantix /usr/share/man/man1/brantix.1.gz \
        /usr/share/man/man8/brantix-enable-all.8.gz /usr/share/brantix/prometheus/brantix-alerts.yml \
        /usr/share/doc/brantix/copyright /usr/share/doc/brantix/changelog.gz $conffiles
    for file in "$repo"/commands/*.json; do
        echo "/usr/share/brantix/${file##*/}"
    done
)
expect "installed files" "$(sort <<<"$expected")" "$(cd "$root" && find . -type f | sed 's/^\.//' | sort)"
expect "conffiles" "$(tr ' ' '\n' <<<"$conffiles")" "$(dpkg-deb --ctrl-tarfile "$package" | tar -xO ./conffiles)"
expect "binary stripped" "" "$(readelf -S "$root/usr/bin/brantix" | grep -o '\.debug_info' || true)"
expect "debug symbols package" "brantix-dbgsym" "$(dpkg-deb -f "$dbgsym" Package)"

# lintian: no error and no warning (informational tags are listed only).
if command -v lintian >/dev/null; then
    lintian --display-info "$package" >"$scratch/lintian.txt" 2>&1 || true
    sed 's/^/  lintian: /' "$scratch/lintian.txt"
    expect "lintian errors and warnings" "" "$(grep -E '^[EW]: ' "$scratch/lintian.txt" || true)"
else
    echo "package test: lintian is not installed: package not checked by it"
fi

# The units as systemd reads them, with the package's man pages: no complaint
# from verify, and every service's exposure at most 5.0. verify looks for
# /usr/bin/brantix on this machine, not in the package (the file list above
# has it), so that one complaint is left out.
if systemd-analyze --version >/dev/null 2>&1; then
    units=$scratch/units
    mkdir -p "$units"
    for unit in "$root"/usr/lib/systemd/system/*; do
        # An instance of each template, as systemd would load it.
        cp "$unit" "$units/$(basename "${unit/@./@1.}")"
    done
    verify=$(cd "$units" && PATH="$root/usr/bin:$PATH" MANPATH="$root/usr/share/man" \
        systemd-analyze verify --man=yes ./*.service ./*.timer 2>&1 | grep -v '/usr/bin/brantix is not executable' || true)
    expect "systemd-analyze verify" "" "$verify"
    for unit in "$units"/*.service; do
        exposure=$(systemd-analyze security --offline=true "$unit" 2>&1 | sed -n 's/.*Overall exposure level for \([^:]*\): \([0-9.]*\).*/\1 \2/p')
        echo "package test: systemd-analyze security: $exposure"
        expect "exposure of ${unit##*/} at most 5.0" 1 "$(awk '{ print ($2 <= 5.0) }' <<<"$exposure")"
    done
else
    echo "package test: systemd-analyze cannot run here: units not checked"
fi

# The man pages format without a warning and say what they are.
warnings=$(MANWIDTH=80 man --warnings -l "$root/usr/share/man/man1/brantix.1.gz" 2>&1 >"$scratch/man.txt")
expect "man page warnings" "" "$warnings"
expect "man page title" "BRANTIX(1)                       User Commands                      BRANTIX(1)" \
    "$(head -1 "$scratch/man.txt")"
warnings=$(MANWIDTH=80 man --warnings -l "$root/usr/share/man/man8/brantix-enable-all.8.gz" 2>&1 >"$scratch/man8.txt")
expect "helper's man page warnings" "" "$warnings"
expect "helper's man page title" \
    "BRANTIX-ENABLE-ALL(8)        System Administration       BRANTIX-ENABLE-ALL(8)" \
    "$(head -1 "$scratch/man8.txt")"

# Completion, as bash offers it, in a folder with a command file, a rules
# file, another file and a directory.
mkdir -p "$scratch/work/logs" "$scratch/dev"
touch "$scratch/dev/"{nvme0,nvme0n1,nvme1,nvme12,nvme-fabrics}
touch "$scratch/work/read.cmd.json" "$scratch/work/health.rules.json" "$scratch/work/notes.txt"
complete_words() {
    (cd "$scratch/work" && bash -c '
        source "$1"; _brantix_devices=$2; shift 2
        COMP_WORDS=("$@"); COMP_CWORD=$(($# - 1))
        _brantix 2>/dev/null
        for word in "${COMPREPLY[@]}"; do echo "$word"; done | sort | tr "\n" " "' _ \
        "$root/usr/share/bash-completion/completions/brantix" "$scratch/dev" "$@")
}
expect "first argument" "logs read read.cmd.json " "$(complete_words brantix "")"
expect "options" "--export --extended " "$(complete_words brantix read --ex)"
expect "--metrics" "logs " "$(complete_words brantix read --metrics "")"
expect "--rules" "health health.rules.json logs " "$(complete_words brantix read --rules "")"
expect "--compare" "health.rules.json logs notes.txt read.cmd.json " "$(complete_words brantix -c "")"
expect "--dir" "logs " "$(complete_words brantix -d "")"
expect "--nvme" "0 1 12 " "$(complete_words brantix --nvme "")"
expect "--nvme 1" "1 12 " "$(complete_words brantix read -n 1)"
expect "--nvme nvme" "nvme0 nvme1 nvme12 " "$(complete_words brantix --nvme nv)"
expect "--nvme /dev/nvme1" "/dev/nvme1 /dev/nvme12 " "$(complete_words brantix -n /dev/nvme1)"

# The installed binary.
brantix=$root/usr/bin/brantix
set +e
"$brantix" -u >"$scratch/usage.txt" 2>&1
expect "-u exit code" 0 $?
expect "-u synopsis" \
    " brantix <command file> [-n,--nvme #] [-d,--dir <directory>] [COMMAND-OPTIONS] [-x,-v,-h,-u] [--export]" \
    "$(sed -n 2p "$scratch/usage.txt")"

"$brantix" -h >"$scratch/help.txt" 2>&1
expect "-h names the examples folder" 1 "$(grep -cx " *$root/usr/share/brantix" "$scratch/help.txt")"

# The man page's first example in an empty folder: the command file and the
# rules come from the installed examples.
mkdir -p "$scratch/empty"
(cd "$scratch/empty" && "$repo/scripts/with-simulator" demo -- "$brantix" read -r health) >"$scratch/first.txt" 2>&1
code=$?
expect "read -r health exit code" 0 "$code"
expect "read -r health command file" 1 \
    "$(grep -cx " Command file:   $root/usr/share/brantix/read.cmd.json" "$scratch/first.txt")"
expect "read -r health passes" 1 "$(grep -c '^\[PASS\] brantix returned 0$' "$scratch/first.txt")"

# A scheduled read on the simulated drive with the installed rules, its
# metrics in a file of our own.
sed -e "s|/var/lib/prometheus/node-exporter/brantix.prom|$scratch/metrics/brantix.prom|" \
    -e "s|/etc/brantix/|$root/etc/brantix/|" \
    "$root/etc/brantix/fleet-read.cmd.json" >"$scratch/work/fleet.cmd.json"
mkdir -p "$scratch/metrics"
(cd "$scratch/work" && "$repo/scripts/with-simulator" demo -- "$brantix" fleet -d "$scratch/log") \
    >"$scratch/read.txt" 2>&1
code=$?
set -e
expect "the read reaches the drive" 1 "$(grep -c '^ NVMe:            /dev/nvme0$' "$scratch/read.txt")"
expect "read exit code" 0 "$code"
expect "metrics file labels" 1 "$(grep -c '^brantix_power_cycles_total{device="/dev/nvme0",model="Brantix Sim Rich 2TB NVMe 1.4",serial="RICH14000000000042",firmware="R1.4.0C"} 412$' "$scratch/metrics/brantix.prom")"
if command -v promtool >/dev/null; then
    expect "promtool check metrics" "" "$(promtool check metrics <"$scratch/metrics/brantix.prom" 2>&1)"
else
    echo "package test: promtool is not installed (Debian package prometheus): metrics not validated"
fi
echo "package test: all $checks checks passed ($(basename "$package"))"
