#!/bin/bash
# Instructions per record of the typed side and of the hand-written side of
# bench_records (read: the 10 MB document) or bench_write (write: 10,000
# records to /dev/null), each side in its own callgrind process. Only what runs
# inside the side's function is counted (Read_typed / Read_by_hand, or
# Write_typed / Write_by_hand), so generating documents and set-up are left
# out. Per record is the total over the calls of the function, divided by
# those calls and by the benchmark's "records" counter (records per call).
# The callgrind outputs stay in /tmp/tessel_callgrind_<function>.out for
# callgrind_annotate.
#
# Usage: bench/instructions.sh [build-dir [read|write]]     (default: build read)
set -euo pipefail
build=${1:-build}
case ${2:-read} in
    read) program=$build/bench/bench_records typed=(Read_typed '^BM_Typed/10$') hand=(Read_by_hand '^BM_By_hand/10$') ;;
    write) program=$build/bench/bench_write typed=(Write_typed '^BM_Typed/null') hand=(Write_by_hand '^BM_By_hand/null') ;;
    *) echo "usage: $0 [build-dir [read|write]]" >&2; exit 2 ;;
esac

# Runs one side (function, benchmark filter); prints "instructions calls records-per-call".
count() {
    local function=$1 filter=$2 out=/tmp/tessel_callgrind_$1.out json
    json=$(valgrind --tool=callgrind --toggle-collect="*${function}*" --callgrind-out-file="$out" \
        "$program" --benchmark_filter="$filter" --benchmark_min_time=0.001 --benchmark_format=json 2>/dev/null)
    if grep -q '"error_occurred": true' <<<"$json"; then
        echo "$function: the benchmark reported an error" >&2
        exit 1
    fi
    local instructions calls records
    instructions=$(awk '/^(summary|totals):/ {print $2; exit}' "$out")
    # The calls of the function: the "calls=" line after each "cfn=" naming it
    # (a name is given with its first "(id)" only).
    calls=$(awk -v name="$function" '
        /^c?fn=\(/ {
            id = substr($1, index($1, "("))
            if (index($0, ") ")) names[id] = substr($0, index($0, ") ") + 2)
            callee = $1 ~ /^cfn/ ? id : ""
            next
        }
        /^calls=/ && callee != "" && index(names[callee], name) { split($1, n, "="); total += n[2] }
        { callee = "" }
        END { print total + 0 }' "$out")
    records=$(awk -F': ' '/"records"/ {gsub(/,/, "", $2); printf "%.0f", $2; exit}' <<<"$json")
    echo "$instructions $calls $records"
}

report() {
    awk -v side="$1" -v i="$2" -v c="$3" -v r="$4" \
        'BEGIN { printf "%-13s %.0f instructions, %d calls of %d records, %.0f per record\n", side, i, c, r, i / c / r }'
}

read -r t_instructions t_calls t_records < <(count "${typed[@]}")
read -r h_instructions h_calls h_records < <(count "${hand[@]}")
report typed: "$t_instructions" "$t_calls" "$t_records"
report hand-written: "$h_instructions" "$h_calls" "$h_records"
awk -v t="$t_instructions" -v tc="$t_calls" -v tr="$t_records" -v h="$h_instructions" -v hc="$h_calls" -v hr="$h_records" \
    'BEGIN { printf "ratio typed / hand-written: %.2f\n", (t / tc / tr) / (h / hc / hr) }'
