#!/bin/sh
# Checks that the binary is hardened as the build asks for. Usage: hardening.sh BINARY
set -u
binary=$1
failed=0

# check WHAT PATTERN OUTPUT: OUTPUT has a line that matches PATTERN.
check() {
  printf '%s\n' "$3" | grep -qE "$2" || {
    echo "$binary: no $1"
    failed=1
  }
}

headers=$(readelf -lW "$binary")
symbols=$(readelf --dyn-syms -W "$binary")
check "position-independent executable" "Type: +DYN" "$(readelf -hW "$binary")"
check "read-only relocations" "GNU_RELRO" "$headers"
check "binding at start" "BIND_NOW|FLAGS.*NOW" "$(readelf -dW "$binary")"
check "stack that cannot be executed" "GNU_STACK.* RW +0x" "$headers"
check "stack protector" "__stack_chk_fail" "$symbols"
check "fortified call" "__[a-z]+_chk(@|$)" "$(printf '%s\n' "$symbols" | grep -v stack_chk)"
exit $failed
