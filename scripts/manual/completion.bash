# Reads the words in front of the cursor as the tool does, then offers what may stand at it.

# One word in front of the cursor, the $2nd: an option, its value, a verb or an argument.
_volad_dev_read() {
    local option
    if [[ $kind ]]; then
        [[ $1 == = ]] || kind=
    elif [[ ! $ended && $1 == -- ]]; then
        ended=yes
    elif [[ ! $ended && $1 == -[!0-9]* ]]; then
        for option in $options; do
            [[ $option != "$1":* ]] || kind=${option#*:}
        done
    elif [[ $verbs ]]; then
        verb=${verb:+$verb }$1
        verbs='' options='' arguments='' many=''
        _volad_dev_verb "$verb"
    else
        ((given++)) || first=$2
        ended=${ended:-$many}
    fi
}

# A command with arguments of its own, from the word $1 on.
_volad_dev_command() {
    if declare -F _comp_command_offset >/dev/null; then
        _comp_command_offset "$1"
    elif declare -F _command_offset >/dev/null; then
        _command_offset "$1"
    elif ((COMP_CWORD == $1)) && [[ $word != */* ]]; then
        mapfile -t COMPREPLY < <(compgen -c -- "$word")
    else
        compopt -o default
    fi
}

_volad_dev() {
    local verb='' verbs options arguments many # what _volad_dev_verb sets
    local kind='' ended='' given=0 first=$COMP_CWORD word=${COMP_WORDS[COMP_CWORD]} i option
    local -a places
    COMPREPLY=()
    _volad_dev_verb ''
    for ((i = 1; i < COMP_CWORD; i++)); do
        if [[ ! $ended && ${COMP_WORDS[i]} == : ]]; then # the shell has parted a word there
            ((++i < COMP_CWORD)) || kind=-
        else
            _volad_dev_read "${COMP_WORDS[i]}" "$i"
        fi
    done
    if [[ $kind ]]; then
        word=${word#=}
    elif [[ ! $ended && $word == -* ]]; then
        for option in $options; do
            kind+="|${option%%:*}"
        done
    elif [[ $verbs ]]; then
        kind="|${verbs// /|}"
    else
        read -ra places <<<"$arguments"
        kind=${places[given]:-${many:+${places[-1]}}}
    fi
    case $kind in
    '|'*) mapfile -t COMPREPLY < <(compgen -W "${kind//|/ }" -- "$word") ;;
    FILE | PATH) compopt -o default ;; # the shell's own way quotes what must be
    DIR) compopt -o dirnames -o filenames ;;
    COMMAND) _volad_dev_command "$first" ;;
    esac
}

complete -F _volad_dev volad-dev
