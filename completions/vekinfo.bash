# Completes the command lines of vekinfo in bash; installed as share/bash-completion/completions/vekinfo.

# Prints the libraries of the first vek.lib along the built-in search list: name, tab, directory. A setup.loc is not read.
_vekinfo_libraries() {
    local directory file
    for directory in . "${VEK_WORKAREA-}" "${VEK_SEARCHDIR-}" "${HOME-}" "${VEK_PROJECT-}" "${VEK_SITE-}"; do
        for file in .tolvane/vek.lib vek.lib veksetup/vek.lib; do
            if [[ -n $directory && -f $directory/$file ]]; then
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
            fi
        done
    done
}

# Prints the application entries of the nearest tag file, at or above a path.
_vekinfo_entries() {
    local directory=$1
    [[ $directory == '~'?(/*) ]] && directory=${HOME-}${directory#'~'}
    [[ $directory == /* ]] || directory=$PWD/$directory
    while [[ -n $directory ]]; do
        if [[ -f $directory/vekinfo.tag ]]; then
            awk '{
                sub(/(^|[ \t])(--|#|;).*/, "")
                if (NF > 0 && toupper($1) !~ /^(VEKLIBRARY|VEKLIBCHECK|DMTYPE|NAMESPACE)$/ && !known[toupper($1)]++) print $1
            }' "$directory/vekinfo.tag" 2>/dev/null
            return
        fi
        directory=${directory%/*}
    done
}

# Offers the directories of libraries whose names begin with the word, if no file does. Otherwise COMPREPLY remains empty,
# and readline completes files: it keeps variables, quotes and "~" of the word.
_vekinfo_paths() {
    local name directory
    if [[ $1 == */* ]] || compgen -f -- "$1" >/dev/null; then
        compopt -o default
        return
    fi
    compopt -o filenames
    while IFS=$'\t' read -r name directory; do
        if [[ $name == "$1"* ]]; then
            COMPREPLY+=("$directory")
        fi
    done < <(_vekinfo_libraries)
}

# Offers those of the words that begin with the first one, in any case.
_vekinfo_offer() {
    local current=${1,,} word
    shift
    for word in "$@"; do
        if [[ ${word,,} == "$current"* ]]; then
            COMPREPLY+=("$word")
        fi
    done
}

_vekinfo() {
    local current=${COMP_WORDS[COMP_CWORD]} wanted=option action='' entry='' path='' i
    local options=(-verbose -v -path)
    local actions=(-show -lookup -addentry -clearentry -checklibrary -configurelibrary)
    local entries=(VEKLIBRARY VEKLIBCHECK DMTYPE NAMESPACE)
    COMPREPLY=()
    # Without the opening quote: readline keeps it and inserts the completion after it.
    current=${current#[\"\']}

    # The state after the words before this one: what can follow.
    for ((i = 1; i < COMP_CWORD; ++i)); do
        local plain=${COMP_WORDS[i]//[\"\'\\]/}
        local word=${plain,,}
        case $wanted in
        path)
            path=$plain
            wanted=option
            ;;
        cleared | value) wanted=option ;;
        added) wanted=value entry=$word ;;
        first) wanted=names ;;
        *)
            case $word in
            -path) wanted=path ;;
            -lookup) wanted=first action=$word ;;
            -addentry) wanted=added action=$word ;;
            -clearentry) wanted=cleared action=$word ;;
            -show | -checklibrary | -configurelibrary) wanted=option action=$word ;;
            -*) wanted=option ;;
            esac
            ;;
        esac
    done

    if [[ -z $action ]]; then
        options+=("${actions[@]}")
    fi
    case $wanted in
    path) _vekinfo_paths "$current" ;;
    first)
        # Not for later names: only the first one finds an application entry reliably.
        while IFS= read -r entry; do
            entries+=("$entry")
        done < <(_vekinfo_entries "$path")
        _vekinfo_offer "$current" "${entries[@]}"
        ;;
    added | cleared) _vekinfo_offer "$current" "${entries[@]}" ;;
    names) _vekinfo_offer "$current" "${entries[@]}" "${options[@]}" ;;
    option) _vekinfo_offer "$current" "${options[@]}" ;;
    value)
        case $entry in
        veklibcheck) _vekinfo_offer "$current" ON OFF ;;
        dmtype) _vekinfo_offer "$current" none mrev pkm lopa ;;
        namespace) _vekinfo_offer "$current" LibraryNT LibraryUnix ;;
        esac
        ;;
    esac
}

complete -F _vekinfo vekinfo
