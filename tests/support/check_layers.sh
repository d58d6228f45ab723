#!/usr/bin/env bash
# Fails when a file includes a header of a higher layer. Layers, lowest first: foundation,
# platform, reporting, then remote and application side by side; src/X and include/rdx/X are
# both layer X. The umbrella header belongs to no layer.
set -u
root=$1

# The upward edges the behaviour needs: "including file|included header", each with its reason.
allowed=(
  # An object hands status to the reporter it was given: the hook is part of IObject.
  "include/rdx/foundation/IObject.h|rdx/reporting/IReporter.h"
  # Status and name-value XML forms read documents with the one XML core the library has.
  "src/foundation/StatusXmlReader.cpp|platform/xml/XmlDocument.h"
  "src/foundation/NameValueMapForms.cpp|platform/xml/XmlDocument.h"
  # The status filter takes its configuration file from the application object.
  "src/reporting/StatusFilter.cpp|rdx/application/ExportedFunctions.h"
  "src/reporting/StatusFilter.cpp|rdx/application/IRDXApplication.h"
)

grep -rnE '^[[:space:]]*#[[:space:]]*include[[:space:]]*[<"](rdx/)?(foundation|platform|reporting|remote|application)/' \
  "$root/src" "$root/include" |
  awk -v root="$root/" -v allowed="$(printf '%s\n' "${allowed[@]}")" '
    function layer(path) {
      sub(/^src\//, "", path); sub(/^include\//, "", path); sub(/^rdx\//, "", path)
      sub(/\/.*/, "", path)
      return path
    }
    BEGIN {
      split(allowed, edges, "\n")
      for (i in edges) ok[edges[i]] = 1
      rank["foundation"] = 0; rank["platform"] = 1; rank["reporting"] = 2
      rank["remote"] = 3; rank["application"] = 3
    }
    {
      split($0, part, ":")
      file = substr(part[1], length(root) + 1)
      header = $0
      sub(/^[^<"]*[<"]/, "", header); sub(/[>"].*/, "", header)
      from = layer(file); to = layer(header)
      if (!(from in rank) || from == to || rank[to] < rank[from] || (file "|" header) in ok) next
      printf "%s:%s: %s includes %s, a header of a higher or side layer\n", file, part[2], from, header
      bad = 1
    }
    END { exit bad }'
