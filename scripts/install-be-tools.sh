#!/usr/bin/env bash
# Installs what the big-endian build (make test-be) needs, with apt, when it is missing:
# the 32-bit PowerPC cross compiler, qemu-user to run its programs and the GoogleTest
# sources to build the test framework for that target.
set -euo pipefail

missing=()
command -v powerpc-linux-gnu-g++ >/dev/null || missing+=(g++-powerpc-linux-gnu)
command -v qemu-ppc >/dev/null || missing+=(qemu-user)
[ -f /usr/src/googletest/CMakeLists.txt ] || missing+=(libgtest-dev)
[ "${#missing[@]}" -eq 0 ] && exit 0

echo "install-be-tools: installing ${missing[*]}"
sudo=()
[ "$(id -u)" -eq 0 ] || sudo=(sudo)
export DEBIAN_FRONTEND=noninteractive
"${sudo[@]}" apt-get update -q
"${sudo[@]}" apt-get install -y -q --no-install-recommends "${missing[@]}"
