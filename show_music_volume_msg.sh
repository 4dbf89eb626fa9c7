#!/bin/sh
# Shows the volume text that the now-playing screen hands over ("  60%") after a volume
# key. The player starts it in the background and does not look at the result, so it
# never blocks and never fails loudly. On the device the system's overlay shows the
# text; on a desktop a notification does where notify-send exists, otherwise a line on
# standard error.
text=$(printf '%s' "${1:-}" | sed 's/^ *//')
[ -n "$text" ] || exit 0
if command -v notify-send >/dev/null 2>&1 && { [ -n "${DISPLAY:-}" ] || [ -n "${WAYLAND_DISPLAY:-}" ]; }; then
    # Replace the previous volume note instead of stacking them; give up after 2 s.
    timeout 2 notify-send -t 1200 -h string:x-canonical-private-synchronous:musicplayer-volume \
        "Volume" "$text" >/dev/null 2>&1 && exit 0
fi
echo "volume: $text" >&2
exit 0
