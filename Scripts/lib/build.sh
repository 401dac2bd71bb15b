# Configuring and building. Sourced after messages.sh, with the root of the tree as the current folder.

jobs=$(nproc)

# configure PRESET [CMAKE-ARGUMENT...]
configure() {
    local launcher=()
    if command -v ccache >/dev/null; then
        launcher=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
    fi
    cmake --preset "$@" "${launcher[@]}"
}

# build PRESET [TARGET...]
build() {
    local preset=$1 targets=("${@:2}")
    if (( ${#targets[@]} > 0 )); then
        targets=(--target "${targets[@]}")
    fi
    cmake --build --preset "$preset" --parallel "$jobs" "${targets[@]}"
}
