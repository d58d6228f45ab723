#!/usr/bin/env bash
# Builds the Debian package from the current build tree, checks its control data and file list,
# unpacks it into a scratch root, builds and runs a consumer against the unpacked copy (CMake
# package and pkg-config), runs the unpacked reference server, and installs and removes the
# package with dpkg in a scratch database, with systemctl and systemd-tmpfiles stood in for.
# Usage: check_debian_package.sh BUILD_DIR SOURCE_DIR CONSUMER_DIR CXX
set -euo pipefail
build=$1
source=$2
consumer=$3
cxx=$4
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

fail() { echo "FAIL: $*" >&2; exit 1; }
expect_match() { # TEXT PATTERN WHAT
  grep -Eq -- "$2" <<<"$1" || fail "$3: no line matching '$2' in:"$'\n'"$1"
}

(cd "$build" && cpack -G DEB -B "$work/out" >"$work/cpack.log" 2>&1) ||
  { cat "$work/cpack.log" >&2; fail "cpack could not build the package"; }
debs=("$work"/out/*.deb)
[ ${#debs[@]} -eq 1 ] && [ -f "${debs[0]}" ] || fail "expected one .deb, got: ${debs[*]}"
deb=${debs[0]}

# Control data: the name, the run-time libraries it needs, and the maintainer scripts.
info=$(dpkg-deb --info "$deb")
expect_match "$info" '^ Package: rdxgloballib$' "package name"
depends=$(dpkg-deb --field "$deb" Depends)
for lib in libpugixml1v5 libssl3 libuuid1 libsystemd0; do
  expect_match "$depends" "(^|, )$lib( |,|$)" "Depends"
done
dpkg-deb --control "$deb" "$work/control"
grep -qx 'activate-noawait ldconfig' "$work/control/triggers" ||
  fail "no ldconfig trigger: the linker cache would not learn about the library"
for script in postinst prerm postrm; do
  [ -x "$work/control/$script" ] || fail "maintainer script $script missing or not executable"
  sh -n "$work/control/$script" || fail "maintainer script $script does not parse"
done

# File list: every path is beneath /usr, and the pieces a user looks for are where Debian
# puts them. Every program under tools/ is in the package, whoever added it.
contents=$(dpkg-deb --contents "$deb" | sed 's/ -> .*//' | awk '{print $6}')
outside=$(grep -v '^\./usr/' <<<"$contents" | grep -v '^\./$' || true)
[ -z "$outside" ] || fail "files outside /usr:"$'\n'"$outside"
expect_match "$contents" '^\./usr/lib/([a-z0-9_-]+/)?libRDXGlobalLib\.so\.1$' "library soname link"
expect_match "$contents" '^\./usr/include/rdx/RDXGlobalLib\.h$' "umbrella header"
expect_match "$contents" '^\./usr/lib/([a-z0-9_-]+/)?cmake/RDXGlobalLib/RDXGlobalLibConfig\.cmake$' "CMake package"
expect_match "$contents" '^\./usr/lib/([a-z0-9_-]+/)?pkgconfig/RDXGlobalLib\.pc$' "pkg-config file"
expect_match "$contents" '^\./usr/lib/systemd/system/rdx-refserver\.service$' "systemd unit"
expect_match "$contents" '^\./usr/lib/tmpfiles\.d/rdx-refserver\.conf$' "tmpfiles line"
for dir in "$source"/tools/*/; do
  name=$(basename "$dir")
  compgen -G "$dir*.cpp" >/dev/null || continue
  expect_match "$contents" "^\./usr/bin/$name\$" "program $name"
done
headers_in_tree=$(cd "$source/include" && find rdx -name '*.h' | sort)
headers_in_deb=$(sed -n 's|^\./usr/include/\(rdx/.*\.h\)$|\1|p' <<<"$contents" | sort)
[ "$headers_in_tree" = "$headers_in_deb" ] ||
  fail "packaged headers differ from include/:"$'\n'"$(diff <(echo "$headers_in_tree") <(echo "$headers_in_deb"))"

root=$work/root
dpkg -x "$deb" "$root"
libdir=$(dirname "$(find "$root/usr/lib" -name 'libRDXGlobalLib.so.1' | head -n 1)")
# Nothing in the package may point back into the tree it was built from.
if grep -rIlF -e "$build" -e "$source" "$root/usr/lib" "$root/usr/include" >"$work/leaks"; then
  fail "build or source paths in: $(cat "$work/leaks")"
fi

# The unit starts the packaged server the documented way.
unit=$root/usr/lib/systemd/system/rdx-refserver.service
unit_text=$(cat "$unit")
expect_match "$unit_text" '^Type=simple$' "unit type"
expect_match "$unit_text" '^ExecStart=/usr/bin/rdx-refserver --tcp 3982 --pipe QUORVANRendix$' "unit command"
expect_match "$unit_text" '^WantedBy=multi-user\.target$' "unit install section"
expect_match "$unit_text" '^(DynamicUser=yes|User=.+)$' "unit user"

# A consumer finds the unpacked package through CMake...
cmake -S "$consumer" -B "$work/consumer-build" -G Ninja -DCMAKE_CXX_COMPILER="$cxx" \
  -DCMAKE_PREFIX_PATH="$root/usr" -DCMAKE_FIND_USE_PACKAGE_REGISTRY=OFF >"$work/consumer.log" 2>&1 ||
  { cat "$work/consumer.log" >&2; fail "consumer configure"; }
configured=$(grep -E '^RDXGlobalLib_DIR:' "$work/consumer-build/CMakeCache.txt")
expect_match "$configured" "=$root/usr/" "package found in the unpacked root"
cmake --build "$work/consumer-build" >>"$work/consumer.log" 2>&1 ||
  { cat "$work/consumer.log" >&2; fail "consumer build"; }
LD_LIBRARY_PATH="$libdir" "$work/consumer-build/consumer" >/dev/null || fail "CMake consumer run"
ldd_out=$(LD_LIBRARY_PATH="$libdir" ldd "$work/consumer-build/consumer")
expect_match "$ldd_out" "libRDXGlobalLib\.so\.1 => $libdir/" "consumer loads the unpacked library"

# ...and through pkg-config. A .pc file naming absolute /usr paths needs the sysroot.
export PKG_CONFIG_PATH=$libdir/pkgconfig
unset PKG_CONFIG_SYSROOT_DIR
# The include folder it names, resolved, must be the unpacked one.
include_of() { # CFLAGS
  local flag
  for flag in $1; do
    case $flag in -I*) realpath -m "${flag#-I}" ;; esac
  done
}
cflags=$(pkg-config --cflags RDXGlobalLib)
if ! grep -qx "$root/usr/include" <<<"$(include_of "$cflags")"; then
  export PKG_CONFIG_SYSROOT_DIR=$root
  cflags=$(pkg-config --cflags RDXGlobalLib)
fi
expect_match "$(include_of "$cflags")" "^$root/usr/include\$" "pkg-config include folder"
# shellcheck disable=SC2046
"$cxx" "$consumer/main.cpp" -o "$work/consumer-pc" $cflags $(pkg-config --libs RDXGlobalLib) ||
  fail "pkg-config consumer build"
LD_LIBRARY_PATH="$libdir" "$work/consumer-pc" >/dev/null || fail "pkg-config consumer run"

# The unpacked server runs; --help prints its usage and exits 2.
status=0
help=$(LD_LIBRARY_PATH="$libdir" timeout 20 "$root/usr/bin/rdx-refserver" --help 2>&1) || status=$?
[ "$status" -eq 2 ] || fail "rdx-refserver --help exited $status: $help"
expect_match "$help" 'usage: rdx-refserver --tcp PORT' "rdx-refserver usage"
# The command-line client runs from where the package put it, finding the library beside it
# on its own.
help=$(env -u LD_LIBRARY_PATH timeout 20 "$root/usr/bin/rdxctl" --help 2>&1) ||
  fail "rdxctl --help from the unpacked package: $help"
expect_match "$help" 'rdxctl' "rdxctl usage"

# Install and remove with dpkg into a scratch root and database. The maintainer scripts run
# outside a chroot, so systemctl and systemd-tmpfiles are stand-ins that record their calls.
[ "$(id -u)" -eq 0 ] || { echo "not root: dpkg install and removal not tried"; exit 0; }
admin=$work/admin
inst=$work/inst
mkdir -p "$admin/info" "$admin/updates" "$admin/triggers" "$inst" "$work/stubs"
: >"$admin/status"
: >"$admin/available"
calls=$work/calls
for stub in systemctl systemd-tmpfiles; do
  printf '#!/bin/sh\necho "%s $*" >>"%s"\n' "$stub" "$calls" >"$work/stubs/$stub"
  chmod +x "$work/stubs/$stub"
done
run_dpkg() {
  PATH="$work/stubs:$PATH" timeout 120 dpkg --admindir="$admin" --instdir="$inst" \
    --force-script-chrootless --force-depends --force-not-root --no-triggers "$@" \
    >>"$work/dpkg.log" 2>&1 || { cat "$work/dpkg.log" >&2; fail "dpkg $*"; }
}
run_dpkg --install "$deb"
state=$(dpkg-query --admindir="$admin" -W -f='${Status}' rdxgloballib)
[ "$state" = "install ok installed" ] || fail "state after install: $state"
[ -x "$inst/usr/bin/rdx-refserver" ] || fail "rdx-refserver not installed"
expect_match "$(cat "$calls")" '^systemd-tmpfiles --create rdx-refserver\.conf$' "postinst makes the pipe folder"
run_dpkg --purge rdxgloballib
state=$(dpkg-query --admindir="$admin" -W -f='${Status}' rdxgloballib 2>/dev/null || true)
case "$state" in ""|"unknown ok not-installed"|"purge ok not-installed") ;;
  *) fail "state after purge: $state" ;; esac
expect_match "$(cat "$calls")" '^systemctl disable rdx-refserver\.service$' "prerm disables the unit"
left=$(cd "$inst" && find . -mindepth 1 ! -type d)
[ -z "$left" ] || fail "left behind after purge:"$'\n'"$left"
echo "package checks passed: $(basename "$deb")"
