# What the scripts share. Source it; it changes to the root of the project.

set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
project=$PWD

say() { printf '== %s\n' "$*"; }

die() {
    printf '%s\n' "$*" >&2
    exit 1
}

# configure_and_build PRESET [TARGET ...]
configure_and_build() {
    local preset=$1
    shift
    cmake --preset "$preset" >/dev/null
    cmake --build --preset "$preset" ${1:+--target "$@"}
}

# install_tree PRESET DIRECTORY: a fresh install tree of the job
install_tree() {
    rm -rf "$2"
    cmake --install "build/$1" --prefix "$2" >/dev/null
}

# write_definition FILE JOB MOUNTPOINT: asks for the built-in summary of one file system
write_definition() {
    local mountpoint=${3//\"/\"\"}
    mkdir -p "$(dirname "$1")"
    cat >"$1" <<END
[Header]
[AgentScan]
asJobName,asScanningCompID
[Filesystem]
fsID,fsMountPoint,fsScanned
[CuStatDef]
sdID,sdCreator,sdName,sdType,sdSummary
[/Header]
[AgentScan]
"$2",1
[Filesystem]
1,"$mountpoint","false"
[/Filesystem]
[CuStatDef]
1,"sys","builtin",3,"Y"
[/CuStatDef]
[/AgentScan]
END
}

# result_value FILE ENTITY COLUMN: a value of the first row of an entity of a result file
result_value() {
    awk -v type="[$2]" -v column="$3" '
        $0 == "[/Header]" { body = 1; next }
        $0 == type && !body { getline; n = split($0, names, ",")
                              for (i = 1; i <= n; i++) if (names[i] == column) at = i; next }
        $0 == type && body { getline; sub(/^"/, ""); sub(/"$/, "")
                             split($0, values, "\",\""); print values[at]; exit }
    ' "$1"
}
