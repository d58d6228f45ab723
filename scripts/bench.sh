#!/usr/bin/env bash
# Builds every benchmark in Release (preset "release", build/release), runs each of them
# REPS times (default 3) and prints one table: for every "ratio <label>: <wall> (cpu <cpu>)"
# line the programs print, the median of the wall-time ratios and of the CPU-time ratios
# ("-" where a program measures wall time only). Every program's full output is kept in
# build/release/bench-results/; REPS 0 only prints the table of the results kept there.
# Usage: scripts/bench.sh [REPS] [PROGRAM-NAME-FILTER]
set -euo pipefail
cd "$(dirname "$0")/.."
reps=${1:-3}
filter=${2:-}

results=build/release/bench-results
programs=
if [ "$reps" -gt 0 ]; then
  cmake --preset release >/dev/null
  cmake --build --preset release
  mkdir -p "$results"
  programs=$(find build/release/bench -maxdepth 1 -type f -name 'bench_*' -perm -u+x | sort)
fi
for program in $programs; do
  name=$(basename "$program")
  [[ -n "$filter" && "$name" != *"$filter"* ]] && continue
  rm -f "$results/$name".*.txt  # a program's earlier results are replaced, the others kept
  for rep in $(seq 1 "$reps"); do
    echo "== $name, run $rep of $reps" >&2
    "$program" --benchmark_color=false >"$results/$name.$rep.txt" 2>&1 ||
      echo "   $name exited $? (see $results/$name.$rep.txt)" >&2
  done
done

# The table: medians per ratio label, in the order the programs print them.
python3 - "$results" <<'PY'
import glob, os, re, statistics, sys
line = re.compile(r'^ratio (.*): ([0-9.]+)(?: \(cpu ([0-9.]+)\))?\s*$')
colour = re.compile(r'\x1b\[[0-9;]*m')  # the console reporter colours even into a file
rows = {}
for path in sorted(glob.glob(os.path.join(sys.argv[1], '*.txt'))):
    program = os.path.basename(path).split('.')[0]
    for text in open(path, errors='replace'):
        m = line.match(colour.sub('', text).strip())
        if m:
            row = rows.setdefault((program, m.group(1)), ([], []))
            row[0].append(float(m.group(2)))
            if m.group(3):
                row[1].append(float(m.group(3)))
width = max([len(f'{p}: {l}') for p, l in rows] + [10])
print(f'{"measure".ljust(width)}  {"wall":>6}  {"cpu":>6}  runs')
for (program, label), (wall, cpu) in rows.items():
    w = f'{statistics.median(wall):.2f}'
    c = f'{statistics.median(cpu):.2f}' if cpu else '-'
    print(f'{(program + ": " + label).ljust(width)}  {w:>6}  {c:>6}  {len(wall)}')
PY
