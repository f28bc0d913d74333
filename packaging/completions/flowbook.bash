# Completes the flowbook command in bash.
_flowbook() {
    local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]} word command='' options words=''

    for word in "${COMP_WORDS[@]:1:COMP_CWORD-1}"; do
        case $word in
        cat | info | parts | extract | new | set | copy)
            command=$word
            break
            ;;
        esac
    done
    case $command in
    cat) options='--format' ;;
    info | parts) options='--json' ;;
    extract) options='-d --directory --code --images --part --force' ;;
    new) options='--code --rich --image --title --description --version --force' ;;
    set) options='--code --title --description --version' ;;
    copy) options='--force' ;;
    *) options='--version' words='cat info parts extract new set copy' ;;
    esac

    COMPREPLY=()
    case $previous in
    --format) words='text xml raw' ;;
    --title | --description | --version | --part) return ;;
    -d | --directory)
        compopt -o filenames
        mapfile -t COMPREPLY < <(compgen -d -- "$current")
        return
        ;;
    esac
    if [[ $current == -* ]]; then
        words="$options -h --help"
    fi
    if [[ -n $words ]]; then
        mapfile -t COMPREPLY < <(compgen -W "$words" -- "$current")
        return
    fi
    compopt -o filenames
    case $previous in
    --code | --rich | --image) mapfile -t COMPREPLY < <(compgen -f -- "$current") ;;
    *)
        mapfile -t COMPREPLY < <(
            compgen -d -- "$current"
            compgen -f -X '!*.tqx' -- "$current"
            compgen -f -X '!*.tqapp' -- "$current"
        )
        ;;
    esac
}
complete -F _flowbook flowbook
