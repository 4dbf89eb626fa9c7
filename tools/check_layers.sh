#!/usr/bin/env bash
# Fails on an #include that climbs: every program source may include only the folders
# (or single headers) of its own floor and the floors below it. The toolkit's headers
# stand for the device's own and are included by bare name; the lowest floors may take
# only its logging header, zcommon.h, since they run without SDL.
set -euo pipefail
cd "$(dirname "$0")/.."

toolkit_bare='zcommon.h zwindow.h zmenu.h shmvar.h zinternal.h'
# file pattern | program include prefixes it may use | bare toolkit headers it may use
rules=(
    "base/*|base/|"
    "toolkit/*|base/|$toolkit_bare"
    "service/frame.*|service/frame.h|"
    "service/wire.*|base/ service/frame.h service/wire.h|zcommon.h"
    "service/commands.*|base/ service/frame.h service/wire.h service/commands.h|zcommon.h"
    "service/transport_actions.*|base/ service/ status/ app/globals.h app/config.h|zcommon.h zwindow.h zmenu.h"
    "service/music_file_action.*|base/ service/ status/ app/globals.h app/config.h playwindow/music_play_window.h|zcommon.h zwindow.h zmenu.h"
    "status/*|base/ status/|zcommon.h"
    "visualiser/spectrum.*|base/ visualiser/spectrum.h|zcommon.h"
    "visualiser/effect_catalogue.*|base/ visualiser/effect_catalogue.h|zcommon.h"
    "visualiser/*|base/ visualiser/|zcommon.h zwindow.h"
    "playwindow/fast_gaussian_blur.*|playwindow/fast_gaussian_blur.h|"
    "popups/*|base/ service/frame.h service/wire.h service/commands.h service/transport_actions.h status/ app/globals.h app/config.h popups/|zcommon.h zwindow.h zmenu.h shmvar.h"
    "playwindow/*|base/ service/frame.h service/wire.h service/commands.h service/transport_actions.h status/ visualiser/ app/globals.h app/config.h popups/popup_menu.h playwindow/|zcommon.h zwindow.h zmenu.h shmvar.h"
    "library/*|base/ service/ status/ app/globals.h app/config.h popups/popup_menu.h playwindow/music_play_window.h library/|zcommon.h zwindow.h zmenu.h shmvar.h"
    "app/config.*|base/ visualiser/effect_catalogue.h service/commands.h app/config.h|zcommon.h"
    "app/language_table.*|app/language_table.h|zwindow.h"
    "app/globals.*|base/ app/globals.h|zcommon.h zwindow.h shmvar.h"
    "app/*|base/ service/ status/ visualiser/ playwindow/ popups/ library/ app/|$toolkit_bare"
    "musicservice/*|base/ service/frame.h musicservice/|zcommon.h"
)

allowed() { # file include
    local file=$1 include=$2 rule pattern prefixes bare p
    for rule in "${rules[@]}"; do
        IFS='|' read -r pattern prefixes bare <<<"$rule"
        # shellcheck disable=SC2053
        [[ $file == $pattern ]] || continue
        if [[ $include == */* ]]; then
            for p in $prefixes; do
                [[ $include == "$p"* ]] && return 0
            done
        else
            for p in $bare; do
                [[ $include == "$p" ]] && return 0
            done
            # A bare name that is no toolkit header: a header of the file's own folder.
            [[ " $toolkit_bare " != *" $include "* ]] && [ -f "$(dirname "$file")/$include" ] && return 0
        fi
        return 1
    done
    return 0 # tests, tools, bench, fuzz: not layered
}

status=0
while IFS= read -r file; do
    while IFS= read -r include; do
        if ! allowed "$file" "$include"; then
            echo "layer violation: $file includes \"$include\""
            status=1
        fi
    done < <(sed -n 's/^[[:space:]]*#[[:space:]]*include[[:space:]]*"\([^"]*\)".*/\1/p' "$file")
done < <(git ls-files -co --exclude-standard -- 'base/*' 'toolkit/*' 'service/*' 'status/*' 'visualiser/*' \
    'playwindow/*' 'popups/*' 'library/*' 'app/*' 'musicservice/*' | grep -E '\.(cpp|h)$')
[ $status -eq 0 ] && echo "layers: no include climbs"
exit $status
