#!/usr/bin/env bash
# Fails on an #include that climbs. Every leaf folder of the program is one library on
# one floor, and may include only the folders it names below (its own among them). The
# toolkit's headers stand for the device's own and are included by bare name; the lowest
# floors may take only its logging header, zcommon.h, since they run without SDL.
set -euo pipefail
cd "$(dirname "$0")/.."

toolkit_all='zcommon.h zwindow.h zmenu.h shmvar.h zinternal.h'
toolkit_screens='zcommon.h zwindow.h zmenu.h shmvar.h'
protocol='service/protocol'
client="base $protocol service/client"
below_screens="$client status visualiser/spectrum visualiser/effects visualiser/painters playwindow/blur app/shared"

# leaf folder | program folders it may include | bare toolkit headers it may include
rules=(
    "base|base|"
    "toolkit/common|base toolkit/common|zcommon.h"
    "toolkit/window|base toolkit/window|$toolkit_all"
    "service/protocol|$protocol|"
    "service/client|$client|zcommon.h"
    "status|base $protocol status|zcommon.h"
    "visualiser/spectrum|base visualiser/spectrum|zcommon.h"
    "visualiser/effects|base visualiser/effects|zcommon.h"
    "visualiser/painters|base visualiser/painters|zcommon.h zwindow.h"
    "playwindow/blur|playwindow/blur|"
    "app/shared|$client visualiser/effects app/shared|$toolkit_screens"
    "service/actions|$client status service/actions|$toolkit_screens"
    "popups|$client status app/shared service/actions popups|$toolkit_screens"
    "playwindow/screen|$below_screens service/actions popups playwindow/screen|$toolkit_screens"
    "service/file_actions|$client status app/shared playwindow/screen service/file_actions|$toolkit_screens"
    "library|$below_screens service/actions popups playwindow/screen service/file_actions library|$toolkit_screens"
    "app/startup|$below_screens service/actions popups playwindow/screen service/file_actions library app/startup|$toolkit_screens"
    "musicservice|base $protocol musicservice|zcommon.h"
)

status=0
for rule in "${rules[@]}"; do
    IFS='|' read -r folder allowed bare <<<"$rule"
    # A leaf: no sources in folders below it.
    if [ -n "$(find "$folder" -mindepth 2 \( -name '*.cpp' -o -name '*.h' \) | head -n 1)" ]; then
        echo "layer violation: $folder is not a leaf folder"
        status=1
    fi
    for file in "$folder"/*.cpp "$folder"/*.h; do
        [ -f "$file" ] || continue
        while IFS= read -r include; do
            ok=1
            if [[ $include == */* ]]; then
                [[ " $allowed " == *" $(dirname "$include") "* ]] || ok=0
            elif [[ " $toolkit_all " == *" $include "* ]]; then
                [[ " $bare " == *" $include "* ]] || ok=0
            else
                # Any other bare name: a header of the file's own folder.
                [ -f "$folder/$include" ] || ok=0
            fi
            if [ $ok -eq 0 ]; then
                echo "layer violation: $file includes \"$include\""
                status=1
            fi
        done < <(sed -n 's/^[[:space:]]*#[[:space:]]*include[[:space:]]*"\([^"]*\)".*/\1/p' "$file")
    done
done

# Every folder that holds program sources has a rule.
ruled=" $(printf '%s\n' "${rules[@]}" | cut -d'|' -f1 | tr '\n' ' ') "
while IFS= read -r folder; do
    if [[ $ruled != *" $folder "* ]]; then
        echo "layer violation: $folder has no rule"
        status=1
    fi
done < <(git ls-files -co --exclude-standard -- base toolkit service status visualiser playwindow popups library app \
    musicservice | grep -E '\.(cpp|h)$' | xargs -n1 dirname | sort -u)
[ $status -eq 0 ] && echo "layers: ${#rules[@]} leaf folders, no include climbs"
exit $status
