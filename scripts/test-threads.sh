#!/bin/bash
# Builds and runs the tests of code with threads under the thread sanitizer. Extra arguments go to ctest.
set -euo pipefail
cd "$(dirname "$0")/.."
export LC_ALL=C.UTF-8

folders=(Platform Logs RequestQueue LoginClient Login NGNLogin XPC IPC iNAC QenCheck)
mapfile -t tests < <(for folder in "${folders[@]}"; do
    grep -hoE '^ *mav_test\(tst_[A-Za-z0-9]+' "tests/$folder/CMakeLists.txt" 2>/dev/null || true
done | sed 's/.*(//' | grep -vxF tst_RunningApplications | sort -u) # its copies are processes, not threads
if [ ${#tests[@]} -eq 0 ]; then
    echo "no tests found in ${folders[*]}" >&2
    exit 1
fi

scripts/install-packages.sh
cmake --preset tsan
cmake --build --preset tsan --target "${tests[@]}"
exec ctest --preset tsan -j2 --output-on-failure -R "^($(IFS='|' && echo "${tests[*]}"))\$" "$@"
