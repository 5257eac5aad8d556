# bash completion for orvconf: commands, their options, type keywords and file names.
_orvconf() {
    local current=${COMP_WORDS[COMP_CWORD]}
    local previous=${COMP_WORDS[COMP_CWORD-1]}
    local commands="print get set remove list check convert diff export import help"
    local types="bool uchar uint16 uint32 uint64 char int16 int32 int64 float double string binary unicodeString"
    if [[ $COMP_CWORD -eq 1 ]]; then
        COMPREPLY=($(compgen -W "$commands --help --version" -- "$current"))
        return
    fi
    local command=${COMP_WORDS[1]}
    case $previous in
        --format) COMPREPLY=($(compgen -W "binary xml" -- "$current")); return ;;
        --to)
            if [[ $command == export ]]; then
                COMPREPLY=($(compgen -W "json" -- "$current"))
            else
                COMPREPLY=($(compgen -W "binary xml" -- "$current"))
            fi
            return ;;
        --value-file) COMPREPLY=($(compgen -f -- "$current")); return ;;
    esac
    if [[ $command == help ]]; then
        COMPREPLY=($(compgen -W "$commands" -- "$current"))
        return
    fi
    if [[ $current == --* ]]; then
        local options="--format --help"
        case $command in
            print) options+=" --json" ;;
            get) options+=" --raw --json" ;;
            set) options+=" --retype --force --value-file" ;;
            remove) options+=" --recursive --force" ;;
            list | diff) options+=" --json" ;;
            convert | export) options+=" --to" ;;
            import) options+=" --force" ;;
        esac
        COMPREPLY=($(compgen -W "$options" -- "$current"))
        return
    fi
    # The operand's position among the words that are not options.
    local operand=0 word index
    for ((index = 2; index < COMP_CWORD; ++index)); do
        word=${COMP_WORDS[index]}
        [[ $word == --format || $word == --to || $word == --value-file ]] && ((++index)) && continue
        [[ $word == --* ]] || ((++operand))
    done
    if [[ $command == set && $operand -eq 2 ]]; then
        COMPREPLY=($(compgen -W "$types" -- "$current"))
    elif [[ $operand -eq 1 && $command =~ ^(get|set|remove|list)$ && -r ${COMP_WORDS[2]} ]]; then
        COMPREPLY=($(compgen -W "$(orvconf list "${COMP_WORDS[2]}" 2>/dev/null)" -- "$current"))
    else
        COMPREPLY=($(compgen -f -- "$current"))
    fi
}
complete -F _orvconf orvconf
