# Prints what fish offers at the end of a command line.
#
# Usage: fish --no-config complete.fish COMPLETIONS_FOLDER LINE

source $argv[1]/vekinfo.fish
complete -C $argv[2] | string replace -r '\t.*' ''
