#!/usr/bin/env bash
# Installs what is missing, builds Morva and runs the whole test suite three times: a normal build, a
# build under the address and undefined-behaviour sanitizers, and the line hand-over tests under the
# thread sanitizer.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
cd "$root"
"$root/scripts/deps.sh"

jobs=$(nproc)
export QT_QPA_PLATFORM=offscreen
export DBUS_SESSION_BUS_ADDRESS=disabled:

configure() { # dir, extra cmake arguments...
    local dir=$1
    shift
    cmake -S "$root" -B "$dir" -G Ninja -DCMAKE_BUILD_TYPE=Debug "$@" >/dev/null
}

echo "== Formatting"
find app automation bench calllog config fuzz lines numbers phonebook platform serial shell tests tools \
    \( -name '*.cpp' -o -name '*.h' \) -print0 | xargs -0 clang-format --dry-run --Werror

echo "== Build and test"
configure build/debug
cmake --build build/debug -j "$jobs"
(cd build/debug && ctest --output-on-failure -j "$jobs")

echo "== Address and undefined-behaviour sanitizers"
configure build/asan -DMORVA_SANITIZE=address
cmake --build build/asan -j "$jobs"
(cd build/asan &&
    ASAN_OPTIONS=detect_leaks=1:abort_on_error=1 LSAN_OPTIONS=suppressions="$root/scripts/lsan.supp":print_suppressions=0 \
        UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 ctest --output-on-failure -j "$jobs")

echo "== Thread sanitizer: the line hand-over, the sound library and the answering machine"
configure build/tsan -DMORVA_SANITIZE=thread
cmake --build build/tsan -j "$jobs" --target handover_tests capi_tests capilink_tests capi_program_tests voice_tests \
    exchange_tests fdsnd_tests voice_call_tests sound_tests answering_machine_tests
(cd build/tsan &&
    TSAN_OPTIONS=halt_on_error=1:second_deadlock_stack=1:suppressions="$root/scripts/tsan.supp" setarch "$(uname -m)" -R \
        ctest --output-on-failure -j "$jobs" \
        -R '^(Handover|CtiEvent|CtiExit|AlertDecision|IncomingCall|OutgoingCall|Capi[A-Za-z]*|JitterBuffer|PulseSoundTest|VoiceCall|SoundDevices|AnsweringMachine|RemoteInquiry)\.')
