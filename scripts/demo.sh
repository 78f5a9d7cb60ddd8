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
run() { printf '$ orv-host %s\n' "$*"; "$host" "$@" || printf '(exit status %d)\n' "$?"; }

section "The example model's entities"
run --tree "$model"

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
