#compdef steadywarp
# SPDX-License-Identifier: Apache-2.0
# Completion of the steadywarp command for zsh.

_steadywarp_files() { _files }
_steadywarp_folders() { _files -/ }

_steadywarp() {
    local word place=""
    local -a offered
    for word in "${(@)words[2,CURRENT-1]}"; do
        case "$place/$word" in
@COMMANDS@
        esac
    done
    case "$place ${words[CURRENT-1]}" in
@FILE_VALUES@
@FOLDER_VALUES@
@OTHER_VALUES@
    esac
    if [[ "${words[CURRENT]}" != -* ]]; then
        case "$place" in
@FILES@
        esac
    fi
    case "$place" in
@OFFERED@
    esac
    _describe 'steadywarp' offered
}

_steadywarp "$@"
