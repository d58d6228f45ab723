#!/usr/bin/env bash
# Fails when a public header is missing from <rdx/RDXGlobalLib.h>.
set -u
inc=$1
umbrella=$inc/rdx/RDXGlobalLib.h
missing=0
while IFS= read -r h; do
  rel=${h#"$inc"/}
  [ "$rel" = rdx/RDXGlobalLib.h ] && continue
  grep -q "#include <$rel>" "$umbrella" || { echo "not in the umbrella header: $rel"; missing=1; }
done < <(find "$inc/rdx" -name '*.h' | sort)
exit $missing
