# What the jobs share.

say() { echo "== $*"; }

# Waits until a command succeeds, 30 seconds at most.
wait_until() {
  tries=0
  until "$@"; do
    tries=$((tries + 1))
    [ "$tries" -lt 150 ] || { say "in vain: $*"; return 1; }
    sleep 0.2
  done
}
