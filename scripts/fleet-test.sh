#!/bin/bash
# The fleet end to end: two simulated drives of one host read by the command
# line of the template unit brantix-read@.service, their metrics files read by
# Debian's prometheus-node-exporter (textfile collector only), scraped by
# Debian's prometheus with the shipped alerting rules. Through Prometheus's
# HTTP API: both drives' temperatures, the worn drive's critical warning
# alert and no alert for the healthy one, and brantix_up 0 after a run that
# cannot open drive 1. Both servers listen on 127.0.0.1 ports picked here and
# are stopped at the end.
#   scripts/fleet-test.sh [BUILD_DIR]            (default build dir: build)
set -euo pipefail
repo=$(cd "$(dirname "$0")/.." && pwd)
build=$(cd "${1:-$repo/build}" && pwd)
# Drive 0 is a healthy drive, drive 1 one at the end of its life.
healthy_profile=demo
worn_profile=worn
started=$SECONDS
scratch=$(mktemp -d)
pids=()
cleanup() {
    for pid in "${pids[@]}"; do
        kill "$pid" 2>/dev/null || true
        wait "$pid" 2>/dev/null || true
    done
    rm -rf "$scratch"
}
trap cleanup EXIT
checks=0

fail() {
    echo "fleet test: FAILED: $*" >&2
    for log in "$scratch"/*.log; do
        echo "---- ${log##*/}" >&2
        tail -20 "$log" >&2
    done
    exit 1
}
# expect WHAT EXPECTED ACTUAL
expect() {
    checks=$((checks + 1))
    [ "$2" = "$3" ] || fail "$1"$'\n'"expected: $2"$'\n'"actual:   $3"
}
for tool in prometheus prometheus-node-exporter jq curl; do
    command -v "$tool" >/dev/null || fail "$tool is not installed (scripts/setup.sh prometheus prometheus-node-exporter)"
done

# One profile with both drives, drive 1 on a PCI address of its own; $1 is
# drive 1's fault list ("" for none).
profile_drive() {
    local file=$repo/simulator/profiles/$1.json
    local same patch
    same=$(jq -r '."same as" // empty' "$file")
    patch=$(jq '."drive patch" // {}' "$file")
    if [ -n "$same" ]; then
        file=$repo/simulator/profiles/$same
    fi
    jq --argjson patch "$patch" '.drives[0] * $patch' "$file"
}
write_profile() {
    jq -n --argjson healthy "$(profile_drive "$healthy_profile")" --argjson worn "$(profile_drive "$worn_profile")" \
        --arg faults "$1" '{
            "host": {"bios_version": "SIM.BIOS.0042", "board_vendor": "Brantix Boards",
                     "product_name": "Simulated Server"},
            "drives": [
                ($healthy | .controller = 0),
                ($worn | .controller = 1 | .pci.address = "0000:03:00.0"
                       | .pci.upstream.address = "0000:00:1e.0" | .pci.upstream.secondary_bus_number = "3"
                       | if $faults == "" then . else .faults = $faults end)
            ]}' >"$scratch/fleet.json"
}

# The installed layout, moved into the scratch folder.
etc=$scratch/etc/brantix
textfile=$scratch/node-exporter
logs=$scratch/log
mkdir -p "$etc" "$textfile" "$logs"
cp "$repo/commands/health.rules.json" "$etc/"
sed "s|/etc/brantix/|$etc/|" "$repo/commands/fleet-read.cmd.json" >"$etc/fleet-read.cmd.json"
unit_command=$(sed -n 's/^ExecStart=//p' "$repo/packaging/brantix-read@.service")
[ -n "$unit_command" ] || fail "no ExecStart= in brantix-read@.service"

# read_drive N: one run of the unit's command line for instance N, in its
# working directory as systemd would make it; prints the exit code.
read_drive() {
    local command=${unit_command//%i/$1}
    command=${command//\/usr\/bin\/brantix/$build/source/brantix}
    command=${command//\/etc\/brantix\//$etc/}
    command=${command//\/var\/log\/brantix/$logs}
    command=${command//\/var\/lib\/prometheus\/node-exporter/$textfile}
    mkdir -p "$logs/nvme$1"
    local code=0
    # shellcheck disable=SC2086 # the unit's command line, split as systemd splits it (no quotes in it)
    (cd "$logs/nvme$1" && BRANTIX_SIM_LIBRARY="$build/simulator/libbrantix_sim.so" \
        BRANTIX_SIM_STATE="$scratch/state" "$repo/scripts/with-simulator" "$scratch/fleet.json" -- \
        $command) >"$scratch/read-nvme$1.log" 2>&1 || code=$?
    echo "$code"
}

write_profile ""
expect "helper finds both controllers" "systemctl enable --now brantix-read@0.timer brantix-read@1.timer" \
    "$(BRANTIX_SIM_LIBRARY="$build/simulator/libbrantix_sim.so" "$repo/scripts/with-simulator" \
        "$scratch/fleet.json" -- "$repo/packaging/brantix-enable-all" --dry-run)"
expect "healthy drive read exit code" 0 "$(read_drive 0)"
expect "worn drive read exit code (health rules fail)" 22 "$(read_drive 1)"
expect "metrics files" "brantix-nvme0.prom brantix-nvme1.prom" "$(cd "$textfile" && echo *)"

# A free port on the loopback address.
free_port() {
    local port
    while :; do
        port=$((20000 + RANDOM % 20000))
        if ! (exec 3<>"/dev/tcp/127.0.0.1/$port") 2>/dev/null; then
            echo "$port"
            return
        fi
    done
}
exporter_port=$(free_port)
prometheus-node-exporter --web.listen-address="127.0.0.1:$exporter_port" --collector.disable-defaults \
    --collector.textfile --collector.textfile.directory="$textfile" >"$scratch/node-exporter.log" 2>&1 &
pids+=($!)
prometheus_port=$(free_port)
while [ "$prometheus_port" = "$exporter_port" ]; do prometheus_port=$(free_port); done
cat >"$scratch/prometheus.yml" <<EOF
global:
  scrape_interval: 1s
  evaluation_interval: 1s
rule_files:
  - $repo/packaging/prometheus/brantix-alerts.yml
scrape_configs:
  - job_name: node
    static_configs:
      - targets: ['127.0.0.1:$exporter_port']
EOF
prometheus --config.file="$scratch/prometheus.yml" --storage.tsdb.path="$scratch/tsdb" \
    --web.listen-address="127.0.0.1:$prometheus_port" >"$scratch/prometheus.log" 2>&1 &
pids+=($!)

api=http://127.0.0.1:$prometheus_port/api/v1
# query PROMQL: the result as "device=value" lines, sorted.
query() {
    curl -sf --get "$api/query" --data-urlencode "query=$1" |
        jq -r '.data.result[] | "\(.metric.device)=\(.value[1])"' | sort | tr '\n' ' '
}
# firing: the firing alerts as "alertname:device" words, sorted.
firing() {
    curl -sf "$api/alerts" | jq -r '.data.alerts[] | select(.state == "firing") |
        "\(.labels.alertname):\(.labels.device)"' | sort | tr '\n' ' '
}
# wait_for WHAT EXPECTED COMMAND...: polls COMMAND for up to 30 s until it prints EXPECTED.
wait_for() {
    local what=$1 expected=$2 actual=""
    shift 2
    for _ in $(seq 60); do
        actual=$("$@" 2>/dev/null || true)
        [ "$actual" = "$expected" ] && break
        sleep 0.5
    done
    expect "$what" "$expected" "$actual"
}

# The composite temperatures the profiles give the drives (kelvin).
temperature() { profile_drive "$1" | jq '."log pages"."02".CTEMP - 273'; }
temperatures="/dev/nvme0=$(temperature "$healthy_profile") /dev/nvme1=$(temperature "$worn_profile") "
wait_for "temperatures through Prometheus" "$temperatures" query brantix_composite_temperature_celsius
wait_for "brantix_up of both drives" "/dev/nvme0=1 /dev/nvme1=1 " query brantix_up
# The worn drive's critical warning alert fires; the rules were evaluated on
# both drives then, and the healthy one has no alert at all.
worn_warning() { firing | grep -o 'NvmeCriticalWarning:/dev/nvme1' | head -1; }
wait_for "critical warning alert of the worn drive" "NvmeCriticalWarning:/dev/nvme1" worn_warning
alerts=$(firing)
expect "no alert for the healthy drive" "" "$(tr ' ' '\n' <<<"$alerts" | grep ':/dev/nvme0$' || true)"
echo "fleet test: alerts firing: $alerts"

# Drive 1 cannot be opened any more: its next run says so in the metrics.
write_profile "open=13"
expect "unreadable drive read exit code" 17 "$(read_drive 1)"
expect "unreadable drive's metrics file" "brantix_up{device=\"/dev/nvme1\"} 0" \
    "$(grep '^brantix_up' "$textfile/brantix-nvme1.prom")"
wait_for "brantix_up after drive 1 became unreadable" "/dev/nvme0=1 /dev/nvme1=0 " query brantix_up
wait_for "drive 1's old figures are gone" "${temperatures%%/dev/nvme1=*}" query brantix_composite_temperature_celsius
wait_for "drive not read alert, and no other" "NvmeDriveNotRead:/dev/nvme1 " firing

echo "fleet test: all $checks checks passed in $((SECONDS - started)) s"
