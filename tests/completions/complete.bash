# Prints what bash offers at the end of a command line.
#
# Usage: bash --norc complete.bash COMPLETIONS_FOLDER LINE

source "$1/vekinfo.bash"
line=$2

read -r -a COMP_WORDS <<<"$line"
if [[ $line == *' ' ]]; then
    COMP_WORDS+=('')
fi
COMP_CWORD=$((${#COMP_WORDS[@]} - 1))
COMP_LINE=$line
COMP_POINT=${#line}

# readline completes files if the function asks for it and offers nothing.
files=
compopt() {
    if [[ $* == '-o default' ]]; then
        files=yes
    fi
}

registered=$(complete -p "${COMP_WORDS[0]}")
function=${registered#*-F }
"${function%% *}" "${COMP_WORDS[0]}" "${COMP_WORDS[COMP_CWORD]}" "${COMP_WORDS[COMP_CWORD - 1]}"
if [[ ${#COMPREPLY[@]} -gt 0 ]]; then
    printf '%s\n' "${COMPREPLY[@]}"
elif [[ -n $files ]]; then
    compgen -f -- "${COMP_WORDS[COMP_CWORD]}"
fi
