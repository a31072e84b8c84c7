# Sourced by the shell scripts of scripts/: the comment at the head of a script is its usage.

usage() {
    sed -n '2,/^[^#]/s/^# \{0,1\}//p' "$0"
}

# For words that the script does not know.
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

# For scripts that take no arguments.
no_arguments() {
    help_if_asked "$@"
    [ $# -eq 0 ] || wrong_usage
}
