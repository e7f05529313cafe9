#!/bin/sh
# update_commands.sh KESTRIN: puts the tables of the program into docs/commands.md and docs/keyboard.md, and its
# keys into assets/keydefs.txt.
set -eu
cd "$(dirname "$0")/.."
program=${1:-build/release/bin/kestrin}
[ -x "$program" ] || { echo "update_commands.sh: $program is no program; build it first" >&2; exit 2; }
tables=$(mktemp -d)
# Without anything of the user's.
unset KESTRIN_SITE
export XDG_CONFIG_HOME="$tables" XDG_DATA_HOME="$tables" HOME="$tables"
put() {
  "$program" "--help=$1" >"$tables/$1"
  sed -i -e "/^<!-- tables -->\$/,/^<!-- end of tables -->\$/{/^<!-- tables -->\$/{p;r $tables/$1
};/^<!-- end of tables -->\$/!d}" "$2"
}
# A program that fails leaves the files as they are.
"$program" --help=keydefs >"$tables/keydefs.txt"
cp "$tables/keydefs.txt" assets/keydefs.txt
cp assets/keydefs.txt "$(dirname "$program")/config/"
put markdown docs/commands.md
put keys docs/keyboard.md
rm -r "$tables"
