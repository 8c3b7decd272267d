#include "host/manual/completion_script.hpp"

#include <array>

namespace quernlight::host {
namespace {

constexpr std::array<std::string_view, 3> shells{"bash", "zsh", "fish"};

/// Also for the bash of macOS, 3.2, which has no compopt. It takes "--home=DIR" for three words.
constexpr std::string_view bashScript = R"script(# Completion of quernlight-dispatch in bash.
_quernlight_dispatch() {
    local program=${COMP_WORDS[0]} words=() word index line typed joins=
    for ((index = 1; index <= COMP_CWORD; index++)); do
        word=${COMP_WORDS[index]}
        if [[ ${#words[@]} -gt 0 && ($word == '=' || -n $joins) ]]; then
            words[${#words[@]} - 1]+=$word
            if [[ -n $joins ]]; then joins=; else joins=1; fi
        else
            words+=("$word")
        fi
    done
    program=${program/#\~/$HOME}
    type -P "$program" >/dev/null || program=quernlight-dispatch
    typed=${words[${#words[@]} - 1]}
    [[ $typed == --*=* ]] && typed=${typed#*=}
    COMPREPLY=()
    while IFS= read -r line; do
        case $line in
            :files)
                compopt -o default 2>/dev/null && return
                while IFS= read -r line; do COMPREPLY+=("$line"); done < <(compgen -f -- "$typed")
                return
                ;;
            :directories)
                compopt -o dirnames 2>/dev/null && return
                while IFS= read -r line; do COMPREPLY+=("$line"); done < <(compgen -d -- "$typed")
                return
                ;;
        esac
        line=${line%%$'\t'*}
        [[ $line == --*=* ]] && line=${line#*=}
        COMPREPLY+=("$line")
    done < <("$program" __complete "${words[@]}" 2>/dev/null)
}
complete -F _quernlight_dispatch quernlight-dispatch
)script";

constexpr std::string_view zshScript = R"script(#compdef quernlight-dispatch
# Completion of quernlight-dispatch in zsh.
_quernlight-dispatch() {
    local line
    local -a lines candidates
    lines=(${(f)"$(${~${(Q)words[1]}} __complete "${(@Q)words[2,CURRENT-1]}" "${(Q)PREFIX}" 2>/dev/null)"})
    (( ${#lines} )) || return 1
    compset -P '--*='
    case ${lines[1]} in
        :files) _files; return ;;
        :directories) _files -/; return ;;
    esac
    for line in $lines; do
        [[ -n $IPREFIX ]] && line=${line#--*=}
        candidates+=("${${line%%$'\t'*}//:/\\:}:${line#*$'\t'}")
    done
    _describe -V 'quernlight-dispatch' candidates
}
if [[ ${funcstack[1]} == _quernlight-dispatch ]]; then
    _quernlight-dispatch "$@"
else
    compdef _quernlight-dispatch quernlight-dispatch
fi
)script";

constexpr std::string_view fishScript = R"script(# Completion of quernlight-dispatch in fish.
function __quernlight_dispatch_complete
    set -l words (commandline -opc)
    set -l typed (commandline -ct)
    set -l lines ($words[1] __complete $words[2..-1] "$typed" 2>/dev/null)
    set -l option (string match -r -- '^--[^=]*=' "$typed")
    set -l path (string replace -r -- '^--[^=]*=' '' "$typed")
    switch "$lines[1]"
        case :files
            printf '%s\n' "$option"(__fish_complete_path "$path")
        case :directories
            printf '%s\n' "$option"(__fish_complete_directories "$path" '')
        case '?*'
            printf '%s\n' $lines
    end
end
complete -c quernlight-dispatch -f -a '(__quernlight_dispatch_complete)'
)script";

}  // namespace

std::span<const std::string_view> completedShells() {
    return shells;
}

std::string_view completionScript(std::string_view shell) {
    if (shell == "zsh") {
        return zshScript;
    }
    return shell == "fish" ? fishScript : bashScript;
}

}  // namespace quernlight::host
