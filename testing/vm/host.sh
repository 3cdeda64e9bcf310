# A host of VMs: the daemon, the bridge and subscribers, in $work.

# usage: start_host [OPTION OF THE BRIDGE...]
start_host() {
  export KRELL_HOST_DIR=${KRELL_HOST_DIR:-$work/host}
  port=$(free_port)
  # An emulated host is slow: its subscribers may come to their turn late.
  printf '<config><mirelPort>%s</mirelPort><mirelQueueLimit>10000</mirelQueueLimit></config>\n' "$port" > "$work/config.xml"
  start_daemon
  start_bridge "$@"
  "$bin/hesper-host" add --cid "$probe_cid" --bios-uuid probe --vm-uuid probe --mgr-vm-id probe
  "$bin/hesper-host" token --subject lab --entitlement GUEST_DATA_ACCESS --out "$work/token"
}

# The logs are emptied, so that what is awaited is from this start.
start_daemon() {
  "$bin/nornhesperd" "$work/config.xml" 2> "$work/daemon.log" &
  daemon=$!
  children+=($!)
  await "the daemon's start" grep -q "Running IO service" "$work/daemon.log"
}
start_bridge() {
  bridge_options=("$@")
  "$bin/hesper-bridge" "$@" 2> "$work/bridge.log" &
  bridge=$!
  children+=($!)
  await "the bridge's start" grep -q "Carries packets" "$work/bridge.log"
}
restart_bridge() { kill -9 "$bridge"; wait "$bridge" 2> /dev/null || true; start_bridge "${bridge_options[@]}"; }
stop_daemon() { kill -9 "$daemon"; wait "$daemon" 2> /dev/null || true; }
restart_daemon() { stop_daemon; start_daemon; }

# Starts a subscriber whose elements come into $work/NAME.received, and waits until it is one: a simulated VM publishes
# until something comes. usage: subscribe NAME [OPTION...]
subscribe() {
  "$bin/hesper-subscribe" --port "$port" --token-file "$work/token" "${@:2}" > "$work/$1.received" 2> "$work/$1.log" &
  children+=($!)
  await "the start of subscriber $1" is_subscribed "$1"
}
is_subscribed() {
  "$bin/hesper-publish" --cid "$probe_cid" --topic lab.probe --timeout 0.2 < /dev/null > /dev/null 2>&1 || true
  [ -s "$work/$1.received" ]
}
probe_cid=9000

# What a subscriber has from real VMs, an element a line: "live VM TOPIC PAYLOAD" or "history VM TOPIC PAYLOAD".
elements() {
  jq -r 'select(.topic != "lab.probe") | "\(if .history then "history" else "live" end) \(.mgr_vm_id // .bios_uuid) \(.topic) \(.payload | @base64d)"' \
    "$work/$1.received"
}
# The same under one topic and below it, each once, sorted; whether live or history. usage: contents NAME TOPIC
contents() { elements "$1" | cut -d ' ' -f 2- | grep -E "^[^ ]+ ${2//./\\.}[. ]" | sort -u; }
# True if a subscriber has something under the topic. usage: has_topic NAME TOPIC
has_topic() { jq -e --arg topic "$2" 'select(.topic == $topic)' "$work/$1.received" > /dev/null; }
# True if a subscriber has exactly these elements, each an argument. usage: has_exactly NAME ELEMENT...
has_exactly() { diff <(elements "$1") <(printf '%s\n' "${@:2}"); }

# What programs and VMs have said last. A BIOS writes what would clear a terminal.
show_logs() {
  local log
  for log in "$work"/*.log "$work"/*.received "$work"/*/qemu.log "$work"/*/console; do
    [ ! -s "$log" ] || { echo "-- the last lines of ${log#"$work/"}"; tail -n 12 "$log" | cut -c1-300 | tr -cd '\11\12\40-\176'; }
  done
}
