#!/bin/sh
# Stand-in for the managed system's Audio Unit validator, placed at
# usr/bin/auval under a sandbox root. Files beside it choose what it does:
#   auval-listing.txt  printed as is for "-a" (nothing printed when missing)
#   auval-status.txt   lines "TYPE SUB MANU STATUS": the exit status of "-v"
#                      for that unit (0 when not listed; 255 stands for -1)
#   auval-delay.txt    seconds each "-v" takes (0 when missing)
# Every "-v" run counts itself in auval-running under a lock and keeps the
# highest count seen in auval-peak, so a test can see how many ran at once.
here=$(dirname "$0")

if [ "$1" = "-a" ]; then
    [ -f "$here/auval-listing.txt" ] && cat "$here/auval-listing.txt"
    exit 0
fi
[ "$1" = "-v" ] || exit 2

count() {
    (
        flock 9
        running=$(cat "$here/auval-running" 2>/dev/null || echo 0)
        running=$((running + $1))
        echo "$running" > "$here/auval-running"
        peak=$(cat "$here/auval-peak" 2>/dev/null || echo 0)
        [ "$running" -gt "$peak" ] && echo "$running" > "$here/auval-peak"
    ) 9>"$here/auval.lock"
}

count 1
sleep "$(cat "$here/auval-delay.txt" 2>/dev/null || echo 0)"
status=$(awk -v t="$2" -v s="$3" -v m="$4" '$1 == t && $2 == s && $3 == m { print $4 }' "$here/auval-status.txt" 2>/dev/null)
echo "VALIDATING AUDIO UNIT: '$2' - '$3' - '$4'"
echo "Report of the stand-in validator for $2 $3 $4"
echo "status ${status:-0}"
count -1
exit "${status:-0}"
