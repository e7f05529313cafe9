#!/bin/sh
# update_commands.sh KESTRIN: puts the tables of the program into docs/commands.md.
set -eu
cd "$(dirname "$0")/.."
tables=$(mktemp)
"${1:-build/release/bin/kestrin}" --help=markdown >"$tables"
sed -i -e "/^<!-- tables -->\$/,/^<!-- end of tables -->\$/{/^<!-- tables -->\$/{p;r $tables
};/^<!-- end of tables -->\$/!d}" docs/commands.md
rm "$tables"
