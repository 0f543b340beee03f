#!/usr/bin/env bash
# The built window program under its error trap, used with keys as a person would: the trace of a download from start to
# end, an error in the middle of the start, and a crash in the middle of the program's life.
#   trap_session.sh SOURCE_FOLDER WINDOW_PROGRAM
. "$(dirname "$0")/window-program"

# The procedures that $work/program/trace.log tells of, each with its arrow and its indent.
procedures() { sed -n 's/^\[[^]]*\] \[[0-9]*\] \[[0-9.]*\] \(\(->\|<-\) *[^:]* : [^:]*\) : .*/\1/p' "$work/program/trace.log"; }
# has TEXT FILE: the file holds the text.
has() { grep -qF -- "$1" "$2" || fail "\"$1\" is not in $2: $(cat "$2")"; }

mkdir "$work/quotes"
printf 'MSFT\r\n5\r\n11\r\n%s\r\n71\r\n' "$work/quotes" >"$work/program/user.cfg"
printf '[Log File]\nCapture To Disk=1\nWrite To Disk=1\n' >"$work/program/FSCLIENT.INI"
# Its lack would be logged, too.
cp "$source_folder/packaging/icons/t8.ico" "$work/program/"
start_window_manager

# A whole life: start, a symbol more, the download of both, the end.
start_program
use_main_window
type_text 'ibm'
xdotool key Return
xdotool key --clearmodifiers alt+s
xdotool key --clearmodifiers alt+d
log=$(window 'Quotes Download Log')
wait_until 'two files' sh -c "[ \$(ls '$work/quotes' | grep -c txt) = 2 ]"
xdotool windowactivate --sync "$log"
xdotool key Escape
gone 'Quotes Download Log'
close_with alt+n
wait $program || fail "the program ended with $?: $(cat "$work/errors")"
[ "$(stat -c %a "$work/program/trace.log")" = 600 ] || fail "the trace can be read by others"
[ "$(procedures | head -n 1)" = '->global.bas : Sub Main' ] || fail "begins otherwise: $(procedures | head -n 3)"
tail -n 1 "$work/program/trace.log" | grep -q '\] END PROGRAM' || fail 'the trace has no end'
# Something of every stretch of that life.
for procedure in 'Sub Load_Config' 'Sub Load_Format' 'Sub cmddownload_Click' 'Sub Process_Onestock' 'Function Valid_Entry'; do
  has ": $procedure :" "$work/program/trace.log"
done
[ ! -e "$work/program/error.log" ] || fail "an error: $(cat "$work/program/error.log")"

# A trace that can't be begun is an error in the middle of the start: told, acknowledged, and the program goes on.
rm "$work/program/trace.log"
mkdir -p "$work/program/trace.log/in the way"
start_program
dialog=$(window 'Runtime error .*')
xdotool windowactivate --sync "$dialog"
has 'Could not open trace log file trace.log' "$work/program/error.log"
xdotool key Return
gone 'Runtime error .*'
use_main_window
rmdir "$work/program/trace.log/in the way"

# A fatal signal leaves a record, and still ends the program.
status=0
kill -SEGV $program
wait $program 2>/dev/null || status=$?
[ $status -ne 0 ] || fail 'the program outlived a segmentation fault'
[ "$(grep -c '^Error Number-' "$work/program/error.log")" = 2 ] || fail "not two records: $(cat "$work/program/error.log")"
has 'SIGSEGV' "$work/program/error.log"
echo "1 passed, 0 failed"
