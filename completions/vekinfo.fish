# Completes the command lines of vekinfo in fish; installed as share/fish/vendor_completions.d/vekinfo.fish.

# Prints the libraries of the first vek.lib along the built-in search list: name, tab, directory. A setup.loc is not read.
function __vekinfo_libraries
    for directory in . "$VEK_WORKAREA" "$VEK_SEARCHDIR" "$HOME" "$VEK_PROJECT" "$VEK_SITE"
        for file in .tolvane/vek.lib vek.lib veksetup/vek.lib
            if test -n "$directory" -a -f "$directory/$file"
                awk -v file="$directory/$file" '
                    function expanded(text,    name, count) {
                        sub(/^~/, ENVIRON["HOME"], text)
                        while (match(text, /[$][A-Za-z_0-9]+|[$][{][^}]*[}]/) && ++count < 20) {
                            name = substr(text, RSTART, RLENGTH)
                            gsub(/[${}]/, "", name)
                            text = substr(text, 1, RSTART - 1) ENVIRON[name] substr(text, RSTART + RLENGTH)
                        }
                        return text
                    }
                    function place(text, file) {
                        text = expanded(text)
                        if (text !~ /^[/]/) { sub(/[^/]*$/, "", file); text = file text }
                        while (sub(/[/][.][/]/, "/", text)) { }
                        sub(/^[.][/]/, "", text)
                        return text
                    }
                    function argument() {
                        sub(/^[ \t]+/, "", line)
                        match(line, /^"[^"]*"|^[^ \t]*/)
                        text = substr(line, 1, RLENGTH)
                        line = substr(line, RLENGTH + 1)
                        gsub(/"/, "", text)
                        return text
                    }
                    function read(file, depth,    lines, count, i, word, name) {
                        while ((getline line < file) > 0) lines[++count] = line
                        close(file)
                        for (i = 1; i <= count; ++i) {
                            line = lines[i]
                            sub(/^--.*|[ \t]--.*|\r$/, "", line)
                            word = toupper(argument())
                            name = argument()
                            if (word ~ /^(SOFT)?DEFINE$/) directory[name] = place(argument(), file)
                            if (word == "UNDEFINE") delete directory[name]
                            if (word ~ /^(SOFT)?INCLUDE$/ && depth < 20) read(place(name, file), depth + 1)
                        }
                    }
                    BEGIN { read(file, 0); for (name in directory) print name "\t" directory[name] }' 2>/dev/null
                return
            end
        end
    end
end

# Prints the application entries of the nearest tag file, at or above a path.
function __vekinfo_entries
    set -l directory (string replace -r '^~(?=/|$)' "$HOME" -- "$argv[1]")
    if not string match -q '/*' -- $directory
        set directory $PWD/$directory
    end
    while test -n "$directory"
        if test -f "$directory/vekinfo.tag"
            awk '{
                sub(/(^|[ \t])(--|#|;).*/, "")
                if (NF > 0 && toupper($1) !~ /^(VEKLIBRARY|VEKLIBCHECK|DMTYPE|NAMESPACE)$/ && !known[toupper($1)]++) print $1
            }' "$directory/vekinfo.tag" 2>/dev/null
            return
        end
        set directory (string replace -r '/[^/]*$' '' -- $directory)
    end
end

# Whether a file begins with the word at the cursor. `complete` also finds files that only contain the word.
function __vekinfo_begins_file
    set -l typed (commandline -ct)
    set -l name (string replace -r '.*/' '' -- $typed | string replace -ar '["\'\\\\]' '')
    complete -C "'' $typed" | string replace -r '/?(\t.*)?$' '' |
        string match -qr -- '(^|/)'(string escape --style=regex -- "$name")'[^/]*$'
end

# Offers the directories of libraries whose names begin with the word, if no file does.
function __vekinfo_paths
    if __vekinfo_begins_file
        return
    end
    set -l current (commandline -ct | string replace -r '^["\']' '')
    __vekinfo_libraries | while read -l -d \t name directory
        if test "$current" = (string sub -l (string length -- "$current") -- $name)
            printf '%s\tlibrary %s\n' $directory $name
        end
    end
end

# Sets `wanted` to what the word at the cursor is, and `action`, `entry` and `path` to what the words before it say.
function __vekinfo_read_line --no-scope-shadowing
    set wanted option
    set action
    set entry
    set path
    for typed in (commandline -opc)[2..-1]
        set -l word (string lower -- $typed)
        switch $wanted
            case path
                set path $typed
                set wanted option
            case cleared value
                set wanted option
            case added
                set wanted value
                set entry $word
            case first
                set wanted names
            case '*'
                switch $word
                    case -path
                        set wanted path
                    case -lookup
                        set wanted first
                        set action $word
                    case -addentry
                        set wanted added
                        set action $word
                    case -clearentry
                        set wanted cleared
                        set action $word
                    case -show -checklibrary -configurelibrary
                        set wanted option
                        set action $word
                    case '-*'
                        set wanted option
                end
        end
    end
end

# Whether fish itself completes files here: it keeps variables, quotes and "~" of the word.
function __vekinfo_wants_file
    set -l wanted
    set -l action
    set -l entry
    set -l path
    __vekinfo_read_line
    test $wanted = path && __vekinfo_begins_file
end

function __vekinfo_complete
    set -l wanted
    set -l action
    set -l entry
    set -l path
    __vekinfo_read_line
    set -l options \
        '-verbose'\t'print every library' \
        '-v'\t'print every library' \
        '-path'\t'path of the action'
    set -l actions \
        '-show'\t'print the keywords of the nearest tag file' \
        '-lookup'\t'print the values of entries' \
        '-addentry'\t'add an entry to a tag file' \
        '-clearentry'\t'clear an entry of a tag file' \
        '-checklibrary'\t'check every library' \
        '-configurelibrary'\t'check every library, append missing entries'
    set -l entries \
        VEKLIBRARY\t'the directory is a library' \
        VEKLIBCHECK\t'whether libraries need the VEKLIBRARY entry' \
        DMTYPE\t'the data-management system' \
        NAMESPACE\t'mapping from names to file names'

    if test -z "$action"
        set -a options $actions
    end
    switch $wanted
        case path
            __vekinfo_paths
        case first
            # Not for later names: only the first one finds an application entry reliably.
            printf '%s\n' $entries (__vekinfo_entries "$path")\t'application entry'
        case added cleared
            printf '%s\n' $entries
        case names
            printf '%s\n' $entries $options
        case option
            printf '%s\n' $options
        case value
            switch $entry
                case veklibcheck
                    printf '%s\n' ON OFF
                case dmtype
                    printf '%s\n' none mrev pkm lopa
                case namespace
                    printf '%s\n' LibraryNT LibraryUnix
            end
    end
end

complete -c vekinfo -f -a '(__vekinfo_complete)'
complete -c vekinfo -F -n __vekinfo_wants_file
