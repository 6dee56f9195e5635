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

# private_apt FOLDER SOURCE SUITE [LINE]: an apt of its own in FOLDER, of the distribution's SUITE and of nothing that the
# machine's knows; SOURCE is deb or deb-src, LINE one more of its configuration. Programs take it as
# APT_CONFIG=FOLDER/apt.conf.
private_apt() {
  mkdir -p "$1/lists/partial" "$1/cache/archives/partial"
  echo "$2 [signed-by=/usr/share/keyrings/debian-archive-keyring.gpg] http://deb.debian.org/debian $3 main" \
    >"$1/sources.list"
  cat >"$1/apt.conf" <<APT
Dir::State::Lists "$1/lists";
Dir::Cache "$1/cache";
Dir::Etc::SourceList "$1/sources.list";
Dir::Etc::SourceParts "/dev/null";
Dir::Etc::PreferencesParts "/dev/null";
APT::Sandbox::User "root";
${4:-}
APT
}
