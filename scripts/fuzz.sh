#!/usr/bin/env bash
# Builds the fuzz targets (the "fuzz" preset, clang) and runs each for a bounded time on a scratch
# copy of its seed corpus, so that the repository's corpus stays as it is. Fails on the first
# target that finds a crash; the crashing input is kept in the scratch directory, whose path is
# printed.
#
#   scripts/fuzz.sh [SECONDS_PER_TARGET] [TARGET...]     (default 60 seconds, every target)
#
# FUZZ_SEED fixes the fuzzer's random seed (the default, 0, draws a new one each run). CI fixes it,
# so that a run repeats what the last one did and fails only for a change; searching for new
# faults is a longer run with fresh seeds.
set -euo pipefail
cd "$(dirname "$0")/.."
seconds="${1:-60}"
seed="${FUZZ_SEED:-0}"
shift || true
targets=("$@")
if [ "${#targets[@]}" -eq 0 ]; then
    targets=(queries text json xmlreader api xpath)
fi

scripts/setup.sh fuzz
cmake --preset fuzz >/dev/null
cmake --build --preset fuzz

scratch=$(mktemp -d "${TMPDIR:-/tmp}/transspace-fuzz.XXXXXX")
echo "fuzz: scratch directory $scratch"
status=0
for target in "${targets[@]}"; do
    corpus="$scratch/$target/corpus"
    artifacts="$scratch/$target/artifacts"
    mkdir -p "$corpus" "$artifacts"
    cp fuzz/corpus/"$target"/* "$corpus"/
    echo "fuzz: $target for ${seconds}s"
    # Xalan-C writes every rejected path to standard error: the target's own stderr is closed
    # (-close_fd_mask=2); the fuzzer and the sanitizers still report.
    if ! build-fuzz/fuzz/fuzz_"$target" -max_total_time="$seconds" -rss_limit_mb=2048 \
        -timeout=25 -seed="$seed" -close_fd_mask=2 -print_final_stats=1 -artifact_prefix="$artifacts/" \
        "$corpus" >"$scratch/$target/log" 2>&1; then
        echo "fuzz: $target FAILED; its log and the crashing input are in $scratch/$target" >&2
        tail -n 60 "$scratch/$target/log" >&2
        status=1
        continue
    fi
    grep -E '^stat::(number_of_executed_units|peak_rss_mb)' "$scratch/$target/log" |
        sed "s/^/fuzz: $target /"
done
if [ "$status" -eq 0 ]; then
    rm -rf "$scratch"
    echo "fuzz: ok"
fi
exit "$status"
