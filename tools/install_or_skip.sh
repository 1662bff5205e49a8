# Sourced by the scripts that need Debian packages: install_or_skip NAME STATUS PACKAGE... installs the
# packages with apt-get (updating the lists once if the first try fails), or says loudly that NAME is
# skipped and exits with STATUS (0 for a make target, 77 where ctest reads it as "skipped").
install_or_skip() {
    local name=$1 status=$2
    shift 2
    [ $# -gt 0 ] || return 0
    echo "$name: installing $*"
    if ! { [ "$(id -u)" = 0 ] && (apt-get install -y "$@" || { apt-get update && apt-get install -y "$@"; }); } >/dev/null 2>&1; then
        echo "################################################################"
        echo "$name: SKIPPED - could not install $*"
        echo "################################################################"
        exit "$status"
    fi
}
