#!/bin/sh
# Test fixture, run as root: creates the unprivileged accounts the permission
# tests act as, and lets them start the given helper executable through sudo.
#   tessary-test     may run the helper without a password (sudo -n)
#   tessary-test-pw  must give its password ("tessary-secret-1") first
# Safe to run again and from parallel tests.
set -eu
helper="$1"
[ "$(id -u)" -eq 0 ] || { echo "prepare_test_users.sh needs root" >&2; exit 2; }
case "$helper" in /*) ;; *) echo "helper path must be absolute" >&2; exit 2 ;; esac

exec 9>/run/lock/tessary-test-users.lock
flock 9

for user in tessary-test tessary-test-pw; do
  id "$user" >/dev/null 2>&1 || useradd --system --no-create-home --shell /usr/sbin/nologin "$user"
done
echo "tessary-test-pw:tessary-secret-1" | chpasswd

# sudoers reads a space, comma, colon, equals sign or backslash in a command
# path as syntax unless escaped ("Glow Installer.app" carries a helper too).
rule_path=$(printf '%s' "$helper" | sed 's/[\\ ,:=]/\\&/g')
file=/etc/sudoers.d/tessary-test
touch "$file"
chmod 0440 "$file"
cp "$file" "$file.new"
for rule in "tessary-test ALL=(root) NOPASSWD: $rule_path" "tessary-test-pw ALL=(root) PASSWD: $rule_path"; do
  grep -qxF "$rule" "$file.new" || echo "$rule" >> "$file.new"
done
# sudo ignores names with a dot, so the draft is never read half-written.
if visudo -cqf "$file.new"; then
  mv "$file.new" "$file"
else
  rm -f "$file.new"
  exit 1
fi
