# Functions for the shell scripts in scripts/, which source this file. They print the comment at the head of a script as
# its usage.

usage() {
    sed -n '2,/^[^#]/s/^# \{0,1\}//p' "$0"
}

# Prints the usage and exits, because the script does not know an argument.
wrong_usage() {
    usage >&2
    exit 2
}

# Prints the usage if the first argument asks for it.
help_if_asked() {
    case ${1-} in
    -h | --help)
        usage
        exit 0
        ;;
    esac
}

# Exits if an argument is given, because the script takes none.
no_arguments() {
    help_if_asked "$@"
    [ $# -eq 0 ] || wrong_usage
}
