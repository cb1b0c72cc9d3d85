#!/usr/bin/env bash
# Outside clients against quilvane-sim, and our VISA layer against the
# system's rpcbind. Port mappers live on port 111, so everything runs in a
# private network namespace (only loopback exists there) with a private /run:
# nothing is reachable from outside and nothing outlives the test.
set -u
bin=$1
if [ -z "${QV_IN_NETNS:-}" ]; then
  if [ "$(id -u)" -ne 0 ] || ! unshare --net --mount true 2>/dev/null; then
    echo "interop: needs root and network namespaces"
    [ "${CI:-}" = "true" ] && exit 1
    exit 77
  fi
  exec env QV_IN_NETNS=1 unshare --net --mount --propagation private "$0" "$@"
fi

ip link set lo up
mount -t tmpfs tmpfs /run
work=$(mktemp -d)
pids=()
cleanup() { for p in "${pids[@]}"; do kill "$p" 2>/dev/null; done; wait 2>/dev/null; rm -rf "$work"; }
trap cleanup EXIT

passed=0 failed=0
check() {  # name, then the command; passes when it exits 0
  local name=$1; shift
  local out
  if out=$("$@" 2>&1); then
    passed=$((passed + 1)); echo "ok: $name"
  else
    failed=$((failed + 1)); echo "FAILED: $name"; echo "$out" | sed 's/^/    /' | head -20
  fi
}
contains() { grep -qF -- "$1"; }

start_sim() {  # extra args...; sets socket=, vxi11=
  rm -f "$work/ports"
  "$bin/quilvane-sim" --profile TKD --socket-port 0 --vxi11 --root "$work/root" \
    --port-file "$work/ports" --exit-with-parent --lifetime 240 "$@" >/dev/null 2>"$work/sim.err" &
  sim=$!
  pids+=("$sim")
  for _ in $(seq 200); do [ -s "$work/ports" ] && break; sleep 0.05; done
  socket=$(sed -n 's/^socket=//p' "$work/ports")
  [ -n "$socket" ] || { echo "quilvane-sim did not start:"; cat "$work/sim.err"; exit 1; }
}

mkdir -p "$work/root"
head -c 100000 /dev/urandom > "$work/blk.bin"
printf '#6100000' > "$work/expected"; cat "$work/blk.bin" >> "$work/expected"
# lxi's raw mode takes at most 64 KiB per answer: a smaller block for it.
head -c 20000 /dev/urandom > "$work/small.bin"
printf '#520000' > "$work/expected-small"; cat "$work/small.bin" >> "$work/expected-small"
# The files go to the instrument over the wire, as a user would send them.
put_block() {
  "$bin/quilvane-cli" send "TCPIP::127.0.0.1::$socket::SOCKET" "MMEM:DATA 'blk.bin'," "$work/blk.bin" >/dev/null &&
  "$bin/quilvane-cli" send "TCPIP::127.0.0.1::$socket::SOCKET" "MMEM:DATA 'small.bin'," "$work/small.bin" >/dev/null
}

# 1. Our own port mapper on 111: outside clients find the VXI-11 server.
start_sim --portmapper-port 111
put_block
check "lxi *IDN? over VXI-11" sh -c "lxi scpi -a 127.0.0.1 '*IDN?' | grep -q '^Tesselhorn,TKD-'"
check "lxi *IDN? over the socket" sh -c "lxi scpi -a 127.0.0.1 -r -p $socket '*IDN?' | grep -q '^Tesselhorn,TKD-'"
check "lxi block over VXI-11" sh -c "lxi scpi -a 127.0.0.1 -t 5 \"MMEM:DATA? 'blk.bin'\" > '$work/lxi.bin' && cmp -n 100008 '$work/lxi.bin' '$work/expected'"
check "lxi block over the socket" sh -c "lxi scpi -a 127.0.0.1 -r -p $socket -t 5 \"MMEM:DATA? 'small.bin'\" > '$work/lxi2.bin' && cmp -n 20007 '$work/lxi2.bin' '$work/expected-small'"
for res in "TCPIP::127.0.0.1::INSTR" "TCPIP::127.0.0.1::$socket::SOCKET"; do
  check "pyvisa-py *IDN? and block via $res" sh -c \
    "/usr/bin/python3 '$(dirname "$0")/pyvisa_client.py' '$res' blk.bin '$work/blk.bin' > '$work/py.out' &&
     grep -q '^idn Tesselhorn,TKD-' '$work/py.out' && grep -q '^block 100000 match' '$work/py.out'"
done
check "quilvane-cli on port mapper 111" sh -c "'$bin/quilvane-cli' query TCPIP::127.0.0.1::INSTR '*IDN?' | grep -q '^Tesselhorn,TKD-'"
kill "$sim"; wait "$sim" 2>/dev/null

# 2. The system's rpcbind: the simulator registers there, our layer asks it.
mkdir -p /run/rpcbind
rpcbind -f -w >"$work/rpcbind.log" 2>&1 &
pids+=("$!")
for _ in $(seq 100); do rpcinfo -p 127.0.0.1 >/dev/null 2>&1 && break; sleep 0.05; done
start_sim --rpcbind
put_block
check "simulator registered with rpcbind" sh -c "rpcinfo -p 127.0.0.1 | grep -q 395183"
check "quilvane-cli through rpcbind" sh -c "'$bin/quilvane-cli' query TCPIP::127.0.0.1::INSTR '*IDN?' | grep -q '^Tesselhorn,TKD-'"
check "quilvane-cli block through rpcbind" sh -c "'$bin/quilvane-cli' fetch TCPIP::127.0.0.1::INSTR \"MMEM:DATA? 'blk.bin'\" '$work/cli.bin' && cmp '$work/cli.bin' '$work/blk.bin'"
check "lxi through rpcbind" sh -c "lxi scpi -a 127.0.0.1 '*IDN?' | grep -q '^Tesselhorn,TKD-'"
kill -TERM "$sim"; wait "$sim" 2>/dev/null
check "simulator unregistered at exit" sh -c "! rpcinfo -p 127.0.0.1 | grep -q 395183"

echo "$passed passed, $failed failed"
[ "$failed" -eq 0 ]
