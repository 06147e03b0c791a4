#!/bin/sh
# Test fixture, the end of a run: removes what prepare_test_users.sh set up
# (the accounts and their sudo rules), so that no account with a known
# password and no rule for a build-tree helper stays on the machine.
# Does nothing without root.
set -u
[ "$(id -u)" -eq 0 ] || exit 0
exec 9>/run/lock/tessary-test-users.lock
flock 9
rm -f /etc/sudoers.d/tessary-test /etc/sudoers.d/tessary-test.new
for user in tessary-test tessary-test-pw; do
  if id "$user" >/dev/null 2>&1; then
    pkill -KILL -u "$user" 2>/dev/null || true
    userdel "$user" 2>/dev/null || userdel -f "$user" || { echo "cannot remove $user" >&2; exit 1; }
  fi
done
exit 0
