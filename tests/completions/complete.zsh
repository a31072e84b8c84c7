# Prints what zsh offers at the end of a command line.
#
# Usage: zsh -f complete.zsh COMPLETIONS_FOLDER LINE
#
# Completion needs a terminal: another zsh runs in a pseudo-terminal and writes the completions into a file.

zmodload zsh/zpty
export COMPLETIONS_FOLDER=$1
export MATCHES=${TMPDIR:-/tmp}/matches.$$
: >$MATCHES

# Commands for the other zsh.
setup='
PS1= PS2= RPS1=
unsetopt beep
fpath=($COMPLETIONS_FOLDER $fpath)
autoload -Uz compinit
compinit -D -u

# Records words that are added, without calls that only test words (-O, -A, -D).
compadd() {
    local last argument prefix
    local -a added
    for argument; do
        case $argument in
        - | --) break ;;
        -[OAD]*) builtin compadd "$@"; return ;;
        esac
        [[ $last == -p ]] && prefix=$argument
        last=$argument
    done
    builtin compadd -O added "$@"
    (( $#added )) && print -rl -- $prefix$^added >>$MATCHES
    builtin compadd "$@"
}
report() {
    _main_complete
    : >$MATCHES.end
}
zle -C report list-choices report
bindkey "^T" report
'

zpty zsh zsh -f -i
zpty -w zsh "source =(<<<${(qq)setup})"
zpty -w zsh 'print -r "re""ady"'
zpty -r -m zsh ignored '*ready*'
zpty -n -w zsh "$2"$'\C-t'
for i in {1..200}; do
    [[ -e $MATCHES.end ]] && break
    sleep 0.05
    zpty -r -t zsh ignored
done
zpty -d zsh
cat $MATCHES
rm -f $MATCHES $MATCHES.end
