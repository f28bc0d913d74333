# Completes the flowbook command in bash.
_flowbook() {
    local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]} word command='' options words=''
    local commands='cat grep info parts extract html show new set edit pack copy digest diff merge git check canon repair'
    local inputs='--files-from -0 --null -j --jobs'

    for word in "${COMP_WORDS[@]:1:COMP_CWORD-1}"; do
        case $word in
        cat | grep | info | parts | extract | html | show | new | set | edit | pack | copy | digest | diff | merge | git | check | \
            canon | repair | help)
            command=$word
            break
            ;;
        esac
    done
    case $command in
    cat) options="$inputs --json --format --force" ;;
    grep)
        options="$inputs -i --ignore-case -F --fixed-strings -w --word-regexp -v --invert-match -l"
        options+=' --files-with-matches -c --count --json'
        ;;
    info | parts) options="$inputs --json" ;;
    extract) options='-d --directory --code --images --part --force' ;;
    html) options="$inputs -o --output -d --directory --force" ;;
    new) options='--code --rich --image --title --description --version --force' ;;
    set) options="$inputs --code --flatten --rich --title --description --version" ;;
    copy) options='--force' ;;
    digest) options="$inputs --code --json" ;;
    check) options="$inputs --json" ;;
    canon) options="$inputs --check" ;;
    merge) options='-o --output --ours --theirs' ;;
    show | diff) options='' ;;
    git) options='--global --local --undo' ;;
    edit) options='--flatten' ;;
    pack | repair) options='-o --output --force' ;;
    help) words=$commands ;;
    *) options='--version' words="$commands help" ;;
    esac

    COMPREPLY=()
    case $previous in
    --format) words='text xml raw' ;;
    --title | --description | --version | --part | -j | --jobs) return ;;
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
    --code | --rich | --image | --files-from) mapfile -t COMPREPLY < <(compgen -f -- "$current") ;;
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
