#!/bin/sh
# Prints with what QEMU runs x86-64 firmware on this machine: kvm, or tcg, its own emulation. That /dev/kvm opens is not
# enough: there are machines on which the first instructions of firmware fail. So it is tried.
set -eu
accel=tcg
if (: <>/dev/kvm) 2>/dev/null; then
  console=$(mktemp)
  timeout 10 qemu-system-x86_64 -accel kvm -machine q35 -m 256 -nodefaults -display none -bios /usr/share/ovmf/OVMF.fd \
    -serial "file:$console" >/dev/null 2>&1 &
  guest=$!
  while kill -0 $guest 2>/dev/null && [ $accel = tcg ]; do
    sleep 0.2
    ! grep -q -a Bds "$console" || accel=kvm
  done
  kill $guest 2>/dev/null || true
  wait $guest || true
  rm -f "$console"
fi
echo $accel
