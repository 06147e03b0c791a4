#!/bin/sh
# Stand-in for the managed system's Audio Unit validator, placed at
# usr/bin/auval under a sandbox root. Files beside it choose what it does:
#   auval-listing.txt  printed as is for "-a" (nothing printed when missing)
#   auval-status.txt   lines "TYPE SUB MANU STATUS": the exit status of "-v"
#                      for that unit (0 when not listed; 255 stands for -1)
#   auval-delay.txt    seconds each "-v" takes (0 when missing)
#   auval-gather.txt   N: each "-v" holds until N runs have been under way at
#                      once (or 30 seconds have passed), then takes its delay
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
        running=$(cat "$here/auval-running" 2>/dev/null)
        running=$((${running:-0} + $1))
        echo "$running" > "$here/auval-running"
        peak=$(cat "$here/auval-peak" 2>/dev/null)
        [ "$running" -gt "${peak:-0}" ] && echo "$running" > "$here/auval-peak"
    ) 9>"$here/auval.lock"
}

peak() {
    (
        flock -s 9
        cat "$here/auval-peak" 2>/dev/null
    ) 9>"$here/auval.lock"
}

count 1
# Holding until the others have come makes the queue's width visible however
# slowly the machine starts processes; the delay then lets a run beyond that
# width be counted too.
gather=$(cat "$here/auval-gather.txt" 2>/dev/null)
tries=0
while [ "$(peak)" -lt "${gather:-0}" ] 2>/dev/null && [ "$tries" -lt 300 ]; do
    sleep 0.1
    tries=$((tries + 1))
done
sleep "$(cat "$here/auval-delay.txt" 2>/dev/null || echo 0)"

status=$(awk -v t="$2" -v s="$3" -v m="$4" '$1 == t && $2 == s && $3 == m { print $4 }' "$here/auval-status.txt" 2>/dev/null)
status=${status:-0}
step() { printf '    %-28s %s\n' "$1" "$2"; }
echo "VALIDATING AUDIO UNIT: '$2' - '$3' - '$4'"
echo "Report of the stand-in validator for $2 $3 $4"
echo
step "Opening the unit" "$([ "$status" = 4 ] && echo "could not open" || echo "done")"
step "Initialising it" "$([ "$status" = 5 ] && echo "could not initialise" || echo "done")"
step "Reading its properties" "done"
step "Checking its parameters" "$([ "$status" = 1 ] && echo "2 out of range" || echo "done")"
case $status in
    0 | 1 | 4 | 5) rendered=done ;;
    2) rendered=crashed ;;
    *) rendered="unexpected result" ;;
esac
step "Rendering test signals" "$rendered"
echo
if [ "$status" = 0 ]; then
    echo "Result: passed"
else
    echo "Result: failed (exit status $status)"
fi
count -1
exit "$status"
