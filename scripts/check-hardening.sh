#!/bin/bash
# Looks into each program below a folder of installed files for the protections that the release preset builds with. First
# proves with a planted unprotected program that every lack is found.
# usage: scripts/check-hardening.sh FOLDER
set -euo pipefail
export LC_ALL=C.UTF-8
[ $# -eq 1 ] && [ -d "$1" ] || {
    echo "usage: scripts/check-hardening.sh FOLDER" >&2
    exit 2
}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

protections=(position-independence read-only-relocations immediate-binding plain-stack stack-protector fortified-calls
    container-assertions)
# What is seen in the code only is looked for where that code is known.
[ "$(uname -m)" != x86_64 ] || protections+=(stack-clash-probes control-flow-marks)

# Files rather than pipes: a reader that stops early would make its writer fail.
look_at() {
    readelf --wide --file-header --program-headers --dynamic "$1" >"$work/elf"
    readelf --wide --dyn-syms "$1" >"$work/symbols"
    objdump --disassemble --no-show-raw-insn "$1" >"$work/code"
}
shows() { grep -qE -- "$2" "$work/$1"; }
has() {
    case "$1" in
    position-independence) shows elf 'Type: +DYN' && shows elf 'Flags:.* PIE' ;;
    read-only-relocations) shows elf 'GNU_RELRO' ;;
    immediate-binding) shows elf 'BIND_NOW|Flags:.* NOW' ;;
    plain-stack) shows elf 'GNU_STACK .* RW ' ;;
    stack-protector) shows symbols '__stack_chk_fail' ;;
    fortified-calls) shows symbols '_chk@GLIBC' ;;
    container-assertions) shows symbols '__glibcxx_assert_fail' ;;
    # Large frames are touched page by page.
    stack-clash-probes) shows code 'or[bwlq]? +\$0x0,(0x[0-9a-f]+)?\(%rsp\)' ;;
    # Every function that an indirect call may reach; start-up code alone has a handful.
    control-flow-marks) [ "$(grep -c 'endbr64' "$work/code")" -ge 100 ] ;;
    esac
}

c++ -x c++ -O2 -no-pie -fno-stack-protector -z norelro -z lazy -z execstack -o "$work/planted" - 2>/dev/null \
    <<<'int main(int count, char**) { return count - 1; }'
look_at "$work/planted"
for protection in "${protections[@]}"; do
    if has "$protection"; then
        echo "check-hardening.sh: sees $protection in a program that has none" >&2
        exit 1
    fi
done

failed=0
count=0
while IFS= read -r -d '' file; do
    cmp --silent --bytes=4 "$file" <(printf '\177ELF') || continue
    count=$((count + 1))
    look_at "$file"
    for protection in "${protections[@]}"; do
        has "$protection" || {
            echo "${file#"$1"/} lacks $protection" >&2
            failed=1
        }
    done
done < <(find "$1" -type f -print0)
[ "$count" -gt 0 ] || {
    echo "check-hardening.sh: no program below $1" >&2
    exit 1
}
[ $failed -eq 0 ] || exit 1
echo "hardened: $count programs, ${#protections[@]} protections each"
