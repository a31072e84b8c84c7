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

registered=$(complete -p "${COMP_WORDS[0]}")
function=${registered#*-F }
"${function%% *}" "${COMP_WORDS[0]}" "${COMP_WORDS[COMP_CWORD]}" "${COMP_WORDS[COMP_CWORD - 1]}"
if [[ ${#COMPREPLY[@]} -gt 0 ]]; then
    printf '%s\n' "${COMPREPLY[@]}"
fi
