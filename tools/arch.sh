# Sourced by the other tools: what this machine can run.

# True when the kernel runs 32-bit x86 programs. Some kernels are built without that support,
# and then no 32-bit Wine can start. The probe is a minimal static 32-bit ELF program (one
# program header and the exit system call): "Exec format error" means no.
zelka_runs_32bit() {
  local probe
  probe=$(mktemp)
  printf '\x7f\x45\x4c\x46\x01\x01\x01\x00\x00\x00\x00\x00\x00\x00\x00\x00\x02\x00\x03\x00\x01\x00\x00\x00\x54\x80\x04\x08\x34\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x34\x00\x20\x00\x01\x00\x00\x00\x00\x00\x00\x00\x01\x00\x00\x00\x00\x00\x00\x00\x00\x80\x04\x08\x00\x80\x04\x08\x5d\x00\x00\x00\x5d\x00\x00\x00\x05\x00\x00\x00\x00\x10\x00\x00\x31\xdb\xb8\x01\x00\x00\x00\xcd\x80' > "$probe"
  chmod +x "$probe"
  local ok=1
  "$probe" >/dev/null 2>&1 && ok=0
  rm -f "$probe"
  return $ok
}

# The architectures whose programs run here: x64 always, x86 where the kernel allows it.
# ZELKA_NO_32BIT=1 pretends it does not (to try the other path on a machine that has both).
zelka_runnable_archs() {
  if [ "${ZELKA_NO_32BIT:-0}" != 1 ] && zelka_runs_32bit; then
    echo "x86 x64"
  else
    echo "x64"
  fi
}

# True when this machine runs programs of the architecture named (x86 or x64).
zelka_can_run() {
  [[ " $(zelka_runnable_archs) " == *" $1 "* ]]
}
