# Every transcript of this folder sources this file after tool/transcript.sh.

COMPLETIONS=$TESTDIR/../../completions

# Prints what one shell offers at the end of a command line, sorted.
offered_by() {
    case $1 in
    bash) set -- bash --norc "$TESTDIR/complete.bash" "$2" ;;
    zsh) set -- zsh -f "$TESTDIR/complete.zsh" "$2" ;;
    fish) set -- fish --no-config "$TESTDIR/complete.fish" "$2" ;;
    esac
    timeout 60 "$1" "$2" "$3" "$COMPLETIONS" "$4" 2>&1 | sed 's|/$||' | LC_ALL=C sort | as_tree
}

# Prints what all shells offer; if they differ, what each of them offers.
offers() {
    for shell in bash zsh fish; do
        offered_by "$shell" "$1" >"$CRAMTMP/offers.$shell"
    done
    (
        cd "$CRAMTMP"
        if cmp -s offers.bash offers.zsh && cmp -s offers.bash offers.fish; then
            cat offers.bash
        else
            tail -n +1 offers.bash offers.zsh offers.fish
        fi
    )
}
