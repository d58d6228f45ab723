#!/usr/bin/env bash
# Installs the Debian package inside a booted throw-away systemd (tests/platform/systemd/
# sandbox.sh, private network) and checks the reference server's unit there: the maintainer
# scripts make the pipe folder, the unit starts the server as an unprivileged dynamic user,
# any local user can reach its pipe, the TCP port answers, and purging stops, disables and
# removes everything. Exits 77 (skipped) where no sandbox can boot, unless
# RDX_REQUIRE_SYSTEMD=1. Usage: check_debian_unit.sh BUILD_DIR SOURCE_DIR
set -uo pipefail
build=$1
source=$2
sandbox=$source/tests/platform/systemd/sandbox.sh

skip() {
  if [ "${RDX_REQUIRE_SYSTEMD:-}" = 1 ]; then echo "FAIL: $*" >&2; exit 1; fi
  echo "skipped: $*"; exit 77
}
fail() { echo "FAIL: $*" >&2; exit 1; }
[ "$(id -u)" -eq 0 ] || skip "needs root to boot a systemd sandbox"
command -v systemd-nspawn >/dev/null || skip "systemd-nspawn is missing"

work=$(mktemp -d)
state=$work/sandbox
cleanup() {
  [ -d "$state" ] && "$sandbox" teardown "$state" >/dev/null 2>&1
  rm -rf "$work"
}
trap cleanup EXIT

(cd "$build" && cpack -G DEB -B "$work/out" >"$work/cpack.log" 2>&1) ||
  { cat "$work/cpack.log" >&2; fail "cpack could not build the package"; }
deb=$(basename "$(ls "$work"/out/*.deb)")

# /usr is an overlay with a throw-away upper layer, so dpkg can write there.
RDX_SANDBOX_OWNER=$$ timeout 90 "$sandbox" boot "$state" --overlay=+/usr::/usr \
  --bind-ro="$work/out":/mnt >"$work/boot.log" 2>&1 || skip "no sandbox: $(tail -3 "$work/boot.log")"
leader=$(cat "$state/leader.pid")
inside() { timeout 30 nsenter -t "$leader" -m -u -i -n -p -- "$@"; }

# The sandbox's /var starts empty: dpkg gets a database of its own; the libraries it depends
# on are the host's, present but unknown to that database.
inside sh -c 'mkdir -p /tmp/admin/info /tmp/admin/updates /tmp/admin/triggers &&
  : >/tmp/admin/status && : >/tmp/admin/available' || fail "cannot make a dpkg database"
dpkg_inside() {
  inside dpkg --admindir=/tmp/admin --force-depends "$@" >>"$work/dpkg.log" 2>&1 ||
    { cat "$work/dpkg.log" >&2; fail "dpkg $*"; }
}
dpkg_inside --install "/mnt/$deb"

[ "$(inside stat -c %a /run/quorvan/pipes)" = 1777 ] || fail "postinst did not make the pipe folder 1777"
inside systemctl cat rdx-refserver.service >/dev/null || fail "systemd does not know the unit"
[ "$(inside systemctl is-enabled rdx-refserver.service)" = disabled ] ||
  fail "installing must not enable the server"

inside systemctl start rdx-refserver.service || fail "the unit does not start"
# Bounded wait for the server's pipe: it appears once the server listens.
for _ in $(seq 100); do
  inside test -S /run/quorvan/pipes/quorvanrendix && break
  sleep 0.1
done
journal() { inside journalctl -u rdx-refserver.service --no-pager 2>&1 | tail -5; }
[ "$(inside systemctl is-active rdx-refserver.service)" = active ] || fail "unit not active: $(journal)"
inside test -S /run/quorvan/pipes/quorvanrendix || fail "no pipe socket: $(journal)"
pid=$(inside systemctl show -p MainPID --value rdx-refserver.service)
uid=$(inside stat -c %u "/proc/$pid")
[ -n "$uid" ] && [ "$uid" -ne 0 ] || fail "the server runs as uid '$uid', not as a dynamic user"
[ "$(inside cat "/proc/$pid/cmdline" | tr '\0' ' ')" = \
  "/usr/bin/rdx-refserver --tcp 3982 --pipe QUORVANRendix " ] || fail "unexpected command line"

# Another local user (nobody) reaches the pipe; the TCP port accepts connections.
inside setpriv --reuid=65534 --regid=65534 --clear-groups /usr/bin/python3 -c '
import socket
s = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
s.settimeout(5)
s.connect("/run/quorvan/pipes/quorvanrendix")' || fail "another user cannot connect to the pipe"
inside bash -c 'exec 3<>/dev/tcp/127.0.0.1/3982' || fail "TCP port 3982 does not accept"

# Enabled, then purged: the server stops and nothing of the unit is left.
inside systemctl enable rdx-refserver.service >/dev/null 2>&1 || fail "the unit does not enable"
dpkg_inside --purge rdxgloballib
[ "$(inside systemctl is-active rdx-refserver.service)" != active ] || fail "server still runs after purge"
inside test -e /etc/systemd/system/multi-user.target.wants/rdx-refserver.service &&
  fail "enablement link left after purge"
inside test -e /usr/lib/systemd/system/rdx-refserver.service && fail "unit file left after purge"
inside test -e /usr/bin/rdx-refserver && fail "program left after purge"
echo "unit checks passed"
