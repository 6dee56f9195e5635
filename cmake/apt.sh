# Sourced: apt-get that waits for its turn. An option makes it wait for the lock of installs, but for those of the lists
# and of the downloads it fails at once and is called again.

# patient_apt ARGUMENTS: apt-get as root, for up to ten minutes; its output is shown only on failure.
patient_apt() {
  root=""
  [ "$(id -u)" -eq 0 ] || root=sudo
  log=$(mktemp)
  tries=120
  until $root env LC_ALL=C DEBIAN_FRONTEND=noninteractive apt-get -qq -o DPkg::Lock::Timeout=600 "$@" >"$log" 2>&1; do
    tries=$((tries - 1))
    if [ $tries -eq 0 ] || ! grep -q 'Could not get lock' "$log"; then
      cat "$log" >&2
      rm -f "$log"
      return 1
    fi
    sleep 5
  done
  rm -f "$log"
}
