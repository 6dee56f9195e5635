# Sourced, behind apt.sh: EDK II as this distribution's source package has it, unpacked below a folder and not installed.
# Firmware and packages for it are built there.

EDK2_PACKAGES="build-essential dpkg-dev uuid-dev nasm acpica-tools python3"

# edk2_source FOLDER: leaves the sources (17 MB to fetch) in FOLDER/source and the base tools built in it, once; FOLDER is
# an absolute name, and two calls wait for each other. The distribution's shell wants a library that only firmware with
# Secure Boot has: that patch of its is taken back.
edk2_source() (
  mkdir -p "$1"
  exec 9>"$1/lock"
  flock 9
  [ ! -f "$1/complete" ] || exit 0
  rm -rf "$1/source" "$1/fetched"
  mkdir "$1/fetched"
  cd "$1/fetched"
  private_apt "$1/apt" deb-src "$(. /etc/os-release && echo "$VERSION_CODENAME")"
  {
    APT_CONFIG=$1/apt/apt.conf apt-get -qq update &&
      APT_CONFIG=$1/apt/apt.conf apt-get -qq source edk2 &&
      mv edk2-*/ "$1/source" &&
      patch -s -R -p1 -d "$1/source" <"$1/source/debian/patches/Disable-the-Shell-when-SecureBoot-is-enabled.patch" &&
      make -C "$1/source/BaseTools" -j "$(nproc)" PYTHON_COMMAND=/usr/bin/python3
  } >"$1/source.log" 2>&1 || { tail -n 50 "$1/source.log" >&2; exit 1; }
  touch "$1/complete"
)

# edk2_build FOLDER ARGUMENTS...: EDK II's build in FOLDER/source, of packages there and in the folders of PACKAGES_PATH;
# the output is shown only on failure.
edk2_build() (
  folder=$1
  shift
  cd "$folder/source"
  export WORKSPACE=$PWD PYTHON_COMMAND=/usr/bin/python3 PACKAGES_PATH="$PWD${PACKAGES_PATH:+:$PACKAGES_PATH}"
  export EDK_TOOLS_PATH=$PWD/BaseTools CONF_PATH=$PWD/Conf PATH="$PWD/BaseTools/BinWrappers/PosixLike:$PATH"
  for file in build_rule tools_def target; do
    [ -f "Conf/$file.txt" ] || cp "BaseTools/Conf/$file.template" "Conf/$file.txt"
  done
  command build "$@" >"$folder/build.log" 2>&1 || { tail -n 50 "$folder/build.log" >&2; exit 1; }
)
