#!/usr/bin/env bash
# Sets up a fresh machine and builds the project.
#
#   ./build.sh            install missing packages, build Release, install into dist/, run the examples
#   ./build.sh test       the same set-up, then the whole test suite, normally and under
#                         AddressSanitizer + UndefinedBehaviorSanitizer
#   ./build.sh bench      build the benchmarks and print their ratio table
#   ./build.sh fuzz SECS  build the fuzzers with clang and run each for SECS seconds
#   ./build.sh memcheck   the test programs under Valgrind memcheck (also part of `test`)
set -euo pipefail
cd "$(dirname "$0")"
root=$(pwd)
jobs=$(nproc)

packages=(cmake ninja-build g++ pkg-config libxerces-c-dev libgtest-dev libbenchmark-dev valgrind jq)

ensure_packages() {
    local missing=()
    for package in "$@"; do
        dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q 'install ok installed' ||
            missing+=("$package")
    done
    if [ ${#missing[@]} -gt 0 ]; then
        echo "build.sh: installing ${missing[*]}"
        local sudo=""
        [ "$(id -u)" -eq 0 ] || sudo="sudo"
        $sudo apt-get update -qq
        DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq --no-install-recommends "${missing[@]}"
    fi
}

# configure SOURCE_DIR BUILD_DIR [cmake options...]
configure() {
    local source=$1 dir=$2
    shift 2
    cmake -S "$source" -B "$dir" -G Ninja "$@"
}

build_release() {
    configure "$root" build/release -DCMAKE_BUILD_TYPE=Release -DCMAKE_INSTALL_PREFIX="$root/dist" "$@"
    cmake --build build/release -j "$jobs"
}

run_tests() {
    local dir=$1
    ctest --test-dir "$dir" --output-on-failure -j "$jobs" --timeout 600
}

# The test programs under Valgrind memcheck: no memory error, no definite or indirect leak.
run_memcheck() {
    configure "$root" build/memcheck -DCMAKE_BUILD_TYPE=RelWithDebInfo -DORVANDEL_MEMCHECK=ON \
        -DORVANDEL_BUILD_TOOLS=OFF
    cmake --build build/memcheck -j "$jobs"
    ctest --test-dir build/memcheck --output-on-failure -j "$jobs" -L memcheck
}

main() {
    local command=${1:-run}
    case "$command" in
        run)
            ensure_packages "${packages[@]}"
            build_release -DORVANDEL_BUILD_TESTS=OFF
            cmake --install build/release
            if [ -f examples/CMakeLists.txt ]; then
                configure "$root/examples" build/examples -DCMAKE_PREFIX_PATH="$root/dist"
                cmake --build build/examples -j "$jobs"
                cmake --build build/examples --target run-examples
            fi
            ;;
        test)
            ensure_packages "${packages[@]}"
            build_release -DORVANDEL_BUILD_TESTS=ON
            run_tests build/release
            configure "$root" build/sanitize -DCMAKE_BUILD_TYPE=RelWithDebInfo -DORVANDEL_SANITIZE=ON
            cmake --build build/sanitize -j "$jobs"
            ASAN_OPTIONS=detect_leaks=1:abort_on_error=1:allocator_may_return_null=1 \
                UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 \
                run_tests build/sanitize
            run_memcheck
            ;;
        memcheck)
            ensure_packages "${packages[@]}"
            run_memcheck
            ;;
        bench)
            ensure_packages "${packages[@]}"
            configure "$root" build/bench -DCMAKE_BUILD_TYPE=Release -DORVANDEL_BUILD_BENCH=ON \
                -DORVANDEL_BUILD_TESTS=OFF -DORVANDEL_BUILD_TOOLS=OFF
            cmake --build build/bench -j "$jobs"
            # Each measurement runs in three fresh processes, in rounds; the table uses the median.
            build/bench/bench/orvandel_bench --benchmark_min_time=0.3 "${@:2}"
            ;;
        fuzz)
            local seconds=${2:-60}
            ensure_packages "${packages[@]}" clang libclang-rt-14-dev
            CC=clang CXX=clang++ configure "$root" build/fuzz -DCMAKE_BUILD_TYPE=RelWithDebInfo \
                -DORVANDEL_SANITIZE=ON -DORVANDEL_BUILD_FUZZ=ON -DORVANDEL_BUILD_TESTS=OFF \
                -DORVANDEL_BUILD_TOOLS=OFF
            cmake --build build/fuzz -j "$jobs"
            for fuzzer in build/fuzz/fuzz/*Fuzzer; do
                local name
                name=$(basename "$fuzzer")
                mkdir -p "build/fuzz/corpus/$name" "build/fuzz/artifacts"
                echo "build.sh: fuzzing $name for $seconds s"
                # A huge announced length must fail as an allocation failure, quickly: the reader
                # sizes a buffer before it checks the length against the input.
                ASAN_OPTIONS=allocator_may_return_null=1:max_allocation_size_mb=512 "$fuzzer" -max_total_time="$seconds" \
                    -malloc_limit_mb=1000000 -rss_limit_mb=4096 -print_final_stats=1 \
                    -artifact_prefix="build/fuzz/artifacts/$name-" \
                    "build/fuzz/corpus/$name" "fuzz/corpus/$name"
            done
            ;;
        *)
            echo "usage: ./build.sh [test | bench | fuzz SECONDS]" >&2
            exit 2
            ;;
    esac
}

main "$@"
