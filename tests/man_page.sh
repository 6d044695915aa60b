#!/usr/bin/env bash
# The man page has each option of `sverun --help`, and no other.
#
#     man_page.sh SVERUN MAN_PAGE
set -euo pipefail
help=$("$1" --help | sed 's/^  -h, /  /' | grep -oE '^ +--[a-z-]+' | tr -d ' ' | sort)
page=$(sed 's/\\-/-/g' "$2" | sed -n '/^\.SH OPTIONS/,/^\.SH EXIT/p' | grep -oE '^\.BI? --[a-z-]+' |
    sed 's/^\.BI\? //' | sort)
[[ -n $help ]]
diff <(echo "$help") <(echo "$page") && echo "$(wc -l <<<"$help") options"
