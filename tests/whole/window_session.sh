#!/usr/bin/env bash
# The built window program on a screen of its own, used with keys as a person would: three symbols are added, an interval,
# a format and a folder chosen, the run started, its files compared byte for byte with those of the command line, the
# choices saved on closing and found again after a restart.
#   window_session.sh SOURCE_FOLDER WINDOW_PROGRAM COMMAND_LINE_PROGRAM
. "$(dirname "$0")/window-program"
command_line_program=$3
mkdir "$work/quotes" "$work/expected"

# The focus is in the box of the month.
type_end_date() {
  type_text 03
  xdotool key Tab
  type_text 14
  xdotool key Tab
  type_text 03
}

start_window_manager
start_program
use_main_window

# The symbol box has the focus.
for symbol in ' msft ' ibm index:dji; do
  type_text "$symbol"
  xdotool key Return
done
# From the symbol box: Add, the list, Select All, Remove, Look-up, then the interval: up to the hour.
xdotool key Tab Tab Tab Tab Tab Tab Up
xdotool key --clearmodifiers alt+s
# The format takes no keys. Its list is opened with the mouse and "Text with header-Intraday" picked three items up.
eval "$(xdotool getwindowgeometry --shell "$main" | grep -E '^(WIDTH|HEIGHT)=')"
format_x=$((WIDTH * 68 / 100)) format_y=$((HEIGHT * 304 / 1000))
xdotool mousemove --window "$main" "$format_x" "$format_y" click 1
wait_until 'the opened list' sh -c "[ \$(xdotool search --onlyvisible --class history-quotes | wc -l) -ge 2 ]"
xdotool key Up Up Return
popup=$(xdotool search --onlyvisible --class history-quotes | grep -v "^$main\$" | tail -n 1)
eval "$(xdotool getwindowgeometry --shell "$popup" | sed -n 's/^HEIGHT=/POPUP_HEIGHT=/p')"
xdotool mousemove --window "$popup" 40 $((POPUP_HEIGHT * 23 / 30)) click 1
wait_until 'the closed list' sh -c "[ \$(xdotool search --onlyvisible --class history-quotes | wc -l) = 1 ]"
# Samples button, then the folder; its button and the days, then the end date. Days that are over are the same at any hour.
xdotool key Tab Tab
type_text "$work/quotes"
xdotool key Tab Tab Tab
type_end_date
xdotool key --clearmodifiers alt+d

log=$(window 'Quotes Download Log')
wait_until 'three files' sh -c "[ \$(ls '$work/quotes' | grep -c 1H.txt) = 3 ]"
"$command_line_program" --program-folder "$work/expected" --source simulated --output "$work/expected" --interval 60 \
  --end-date 03/14/03 --format 11 MSFT IBM index:DJI >/dev/null 2>&1
for file in "$work"/quotes/*; do
  cmp "$file" "$work/expected/$(basename "$file")" || fail "$file differs"
done
[ "$(ls "$work/quotes")" = "$(ls "$work/expected")" ] || fail "other files than expected: $(ls "$work/quotes")"

xdotool windowactivate --sync "$log"
xdotool key Escape
gone 'Quotes Download Log'

# Cancel keeps the window, Yes saves and ends the program.
close_with Escape
gone 'Exiting program'
[ ! -e "$work/program/user.cfg" ] || fail "saved although cancelled"
kill -0 $program || fail "ended although cancelled"
close_with alt+y
wait $program || fail "the program ended with $?: $(cat "$work/errors")"
# A list that begins empty begins with one empty entry.
printf '||IBM|MSFT|index:DJI\r\n5\r\n11\r\n%s\r\n71\r\n' "$work/quotes" | cmp - "$work/program/user.cfg"

# A restart has it all again but for the end date.
rm "$work"/quotes/*
start_program
use_main_window
xdotool key --clearmodifiers alt+s
for _ in $(seq 12); do xdotool key Tab; done
type_end_date
xdotool key --clearmodifiers alt+d
wait_until 'three files again' sh -c "[ \$(ls '$work/quotes' | grep -c 1H.txt) = 3 ]"
for file in "$work"/quotes/*; do
  cmp "$file" "$work/expected/$(basename "$file")" || fail "$file differs after the restart"
done
close_with alt+n
wait $program || fail "the program ended with $?: $(cat "$work/errors")"
echo "1 passed, 0 failed"
