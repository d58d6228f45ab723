#!/usr/bin/env bash
# Fails when a file outside src/platform/ includes an operating-system header.
set -u
root=$1
pattern='#include <(unistd\.h|sys/|systemd/|uuid/uuid\.h|netinet/|arpa/|netdb\.h|fcntl\.h|pwd\.h|poll\.h|dirent\.h)'
hits=$(grep -rnE "$pattern" "$root/src" "$root/include" | grep -v "^$root/src/platform/")
[ -z "$hits" ] || { echo "$hits"; exit 1; }
