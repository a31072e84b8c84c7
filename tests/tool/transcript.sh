# Every transcript begins with this file:   $ . "$TESTDIR/transcript.sh"
# README.md says what it offers.

umask 022
chmod 755 "$CRAMTMP"
TREE=$(pwd -P)
HOME=$(cd "$CRAMTMP" && pwd -P)/home
mkdir -p "$HOME"
export TREE HOME

# Shows the paths of this machine as $TREE and $HOME.
as_tree() {
    sed -e "s|$TREE|\$TREE|g" -e "s|$HOME|\$HOME|g"
}

# Runs a program: what it prints, then its errors, with the paths of this machine replaced.
shown() {
    command "$@" >"$CRAMTMP/out" 2>"$CRAMTMP/err"
    set -- "$?"
    as_tree <"$CRAMTMP/out"
    as_tree <"$CRAMTMP/err" >&2
    return "$1"
}

# The program under test.
vekinfo() {
    shown vekinfo "$@"
}

# Runs a program as a user without privileges.
unprivileged() {
    if [ "$(id -u)" -eq 0 ]; then
        setpriv --reuid 65534 --regid 65534 --clear-groups "$@"
    else
        env -- "$@"
    fi
}
