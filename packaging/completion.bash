# SPDX-License-Identifier: Apache-2.0
# Completion of the steadywarp command for bash.

_steadywarp_files() {
    compopt -o filenames 2>/dev/null
    mapfile -t COMPREPLY < <(compgen -f -- "${COMP_WORDS[COMP_CWORD]}")
}

_steadywarp_folders() {
    compopt -o filenames 2>/dev/null
    mapfile -t COMPREPLY < <(compgen -d -- "${COMP_WORDS[COMP_CWORD]}")
}

_steadywarp() {
    local word place="" offered=() current=${COMP_WORDS[COMP_CWORD]}
    COMPREPLY=()
    for word in "${COMP_WORDS[@]:1:COMP_CWORD-1}"; do
        case "$place/$word" in
@COMMANDS@
        esac
    done
    case "$place ${COMP_WORDS[COMP_CWORD-1]}" in
@FILE_VALUES@
@FOLDER_VALUES@
@OTHER_VALUES@
    esac
    if [[ $current != -* ]]; then
        case "$place" in
@FILES@
        esac
    fi
    case "$place" in
@OFFERED@
    esac
    mapfile -t -O "${#COMPREPLY[@]}" COMPREPLY < <(compgen -W "${offered[*]}" -- "$current")
}

complete -F _steadywarp steadywarp
