#!/usr/bin/env bash
# Installs what is missing, builds the plug-in and the command-line tool, and
# runs the agents on the bundled example model with readable output.
set -euo pipefail
cd "$(dirname "$0")/.."

bash scripts/install-deps.sh demo
cmake --preset default >/dev/null
cmake --build --preset default -j "$(nproc)" --target orv-host OrvServer
host=build/default/bin/orv-host
model=examples/model.json

section() { printf '\n== %s\n' "$1"; }
# Shows each command with its arguments quoted as a shell would need them.
run() {
  printf '$ orv-host'
  for a in "$@"; do if [ -z "$a" ]; then printf ' ""'; else printf ' %q' "$a"; fi; done
  printf '\n'
  "$host" "$@" || printf '(exit status %d)\n' "$?"
}

section "The example model's entities"
run --tree "$model"

section "Property pages: both agents on the example's pages (docs/property-pages.md)"
for entity in BLK-PUMP BLK-STATION REQ-003 PAGE-VALVE PAGE-GAUGE PAGE-INVALID; do
  printf -- '-- %s: the library parser, nested JSON in parameter 1\n' "$entity"
  run --context "$entity" "$model" TransformControlInfoToJason ""
  printf -- '-- %s: the host parser, one hand-written line in parameter 2\n' "$entity"
  run "$model" GetPropertyPageControls "$entity" "" ""
done
printf -- '-- PAGE-INCOMPLETE: a plain value; the host route never returns\n'
run --context PAGE-INCOMPLETE --print 1 "$model" TransformControlInfoToJason ""
echo
run --timeout 2 "$model" GetPropertyPageControls PAGE-INCOMPLETE "" ""
section "Link information: the pump has links of all four kinds"
run --print 2 "$model" GetNativeLinkInformation BLK-PUMP ""; echo
section "Link information: the datasheet is reached only by hyperlinks (listed once per hyperlink)"
run --print 2 "$model" GetNativeLinkInformation REQ-007 ""; echo
section "Link information: the sensor's requirement lies outside the model (empty name and GUID)"
run --print 2 "$model" GetNativeLinkInformation BLK-SENSOR ""; echo
section "Link information: the external-object placeholder keeps only dependencies without a target reference"
run --print 2 "$model" GetNativeLinkInformation @Predefined@ExternalObject ""; echo
section "Link information: an element without links, and an unknown GUID, give an empty text"
run "$model" GetNativeLinkInformation BLK-STATION old
run "$model" GetNativeLinkInformation NO-SUCH-GUID old
section "Model explorer: the root node (GetModelViewChildNodes with an empty parent)"
run --print 3 "$model" GetModelViewChildNodes "" "" "" ""
printf '\n'
section "Model explorer: the root's children"
run --print 3 "$model" GetModelViewChildNodes PUMP-STATION "" "" ""
printf '\n'
section "Model explorer: the attribute node \"Alarms\" of the control panel, expanded"
run --print 3 "$model" GetModelViewChildNodes BLK-PANEL MM-ALARMS "" ""
printf '\n'
section "Model explorer: the whole tree, level by level"
run --explore "$model"

section "Diagrams as annotated SVG (written to build/demo/)"
mkdir -p build/demo
for diagram in DIA-REQ DIA-STRUCT DIA-LINKS; do
  printf '$ orv-host --context %s --print 2 %s GenerateSVGWithAnnotations "" "" > build/demo/%s.svg\n' \
    "$diagram" "$model" "$diagram"
  "$host" --context "$diagram" --print 2 "$model" GenerateSVGWithAnnotations "" "" >"build/demo/$diagram.svg"
done
client='[{"objID": "BLK-VALVE", "relInfo": {"source": "client"}}, {"objID": "DEP-VALVE-SATISFY"}]'
printf "\$ orv-host --context DIA-LINKS --print 2 %s GenerateSVGWithAnnotations '%s' \"\" > build/demo/DIA-LINKS-client.svg\n" \
  "$model" "$client"
"$host" --context DIA-LINKS --print 2 "$model" GenerateSVGWithAnnotations "$client" "" >build/demo/DIA-LINKS-client.svg
if command -v rsvg-convert >/dev/null; then
  for svg in build/demo/*.svg; do rsvg-convert "$svg" -o "${svg%.svg}.png"; done
  echo "Wrote build/demo/DIA-REQ, DIA-STRUCT, DIA-LINKS and DIA-LINKS-client, each as .svg and .png"
else
  echo "Wrote build/demo/DIA-REQ.svg, DIA-STRUCT.svg, DIA-LINKS.svg and DIA-LINKS-client.svg"
fi
echo "The valve's symbol, as the client sees it after its JSON named the valve:"
sed -n '/id="SYM-SVG-VALVE"/,/^  <\/g>/p' build/demo/DIA-LINKS-client.svg

section "The browser client: orv-host serve and a screenshot (build/demo/client.png)"
# Waits (ten seconds at most) for the server to print its URL into the log
# file $1, and answers the URL; nothing when the server did not come up.
server_url() {
  for _ in $(seq 100); do
    if grep -q 'http://127\.0\.0\.1:[0-9]*/' "$1"; then
      grep -o 'http://127\.0\.0\.1:[0-9]*/' "$1" | head -n 1
      return
    fi
    kill -0 "$2" 2>/dev/null || return 0
    sleep 0.1
  done
}
serve_status=0
"$host" serve --help >/dev/null 2>&1 || serve_status=$?
if [ "$serve_status" -ne 0 ]; then
  echo "This orv-host was built without its HTTP server."
elif ! command -v chromium >/dev/null; then
  echo "No chromium here, so no screenshot (bash scripts/install-deps.sh installs it)."
else
  log=$(mktemp)
  "$host" serve "$model" --port 0 >"$log" 2>&1 &
  server=$!
  url=$(server_url "$log" "$server")
  if [ -n "$url" ]; then
    profile=$(mktemp -d)
    rm -f build/demo/client.png
    # The virtual time budget lets the client finish its calls before the shot.
    chromium --headless --no-sandbox --disable-gpu --disable-quic --no-first-run \
      --disable-background-networking --disable-component-update --disable-sync \
      --user-data-dir="$profile" --window-size=1400,860 --virtual-time-budget=10000 \
      --screenshot="$PWD/build/demo/client.png" "${url}#/element/BLK-VALVE/diagram/DIA-LINKS" \
      >/dev/null 2>&1 || true
    rm -rf "$profile"
    if [ -s build/demo/client.png ]; then
      echo "Wrote build/demo/client.png: the diagram \"Valve links\" with the valve selected"
    else
      echo "chromium wrote no screenshot"
    fi
  else
    echo "The server did not start:"
    cat "$log"
  fi
  kill "$server" 2>/dev/null || true
  wait "$server" 2>/dev/null || true
  rm -f "$log"
fi
echo
echo "To browse the model, start the server (Ctrl+C stops it):"
echo "  build/default/bin/orv-host serve examples/model.json"
echo "and open http://127.0.0.1:8080/ in a browser."
