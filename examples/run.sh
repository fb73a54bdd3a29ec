#!/usr/bin/env bash
# Sends examples/messages.jsonl through the plugin of a build to an echo server on a free port and
# shows what goes in and what comes out.
#
# usage: examples/run.sh BUILD_DIR
set -euo pipefail

if [[ $# -ne 1 || ! -x $1/bin/chainhost ]]; then
  echo "usage: examples/run.sh BUILD_DIR   (a folder with bin/chainhost in it)" >&2
  exit 2
fi
chainhost=$1/bin/chainhost
examples=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
work=$(mktemp -d)

exec {server_output}< <(exec "$chainhost" echo-server --port 0)
server=$!
trap 'kill "$server" 2>/dev/null || true; wait "$server" 2>/dev/null || true; rm -rf "$work"' EXIT
if ! IFS= read -r -u "$server_output" listening; then
  echo "the echo server did not start" >&2
  exit 1
fi
sed "s/^  port: .*/  port: ${listening##*:}/" "$examples/http.yaml" >"$work/http.yaml"

echo "The echo server is ${listening}."
echo
echo "Request lines:"
cat "$examples/messages.jsonl"
echo
echo "Response lines, as they come:"
"$chainhost" run --config "$work/http.yaml" --input "$examples/messages.jsonl"
