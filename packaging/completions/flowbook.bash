# Completes the flowbook command in bash. Made by packaging/generate.py.
_flowbook() {
    local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]}
    local command=${COMP_WORDS[1]} options='' words='' kind=flowbooks
    local commands='cat grep info ls parts extract html show new import set replace edit pack copy digest diff merge resolve git check canon strip repair help'

    # bash parts --option=value at the equals sign.
    if [[ $current == '=' ]]; then
        current=''
    elif [[ $previous == '=' ]]; then
        previous=${COMP_WORDS[COMP_CWORD - 2]}
    fi
    ((COMP_CWORD > 1)) || command=''
    case $command in
    cat) options='--files-from -0 --null -j --jobs --allow-empty --format --json --binary' ;;
    grep) options='--files-from -0 --null -j --jobs --allow-empty -e --regexp -i --ignore-case -F --fixed-strings -w --word-regexp -v --invert-match --in -o --only-matching -A --after-context -B --before-context -C --context -m --max-count -l --files-with-matches -c --count -q --quiet -Z --null-output --color --gitignore --json' ;;
    info) options='--files-from -0 --null -j --jobs --allow-empty --json' ;;
    ls) options='--files-from -0 --null -j --jobs --allow-empty --json -l --long --sort' ;;
    parts) options='--files-from -0 --null -j --jobs --allow-empty --json' ;;
    extract) options='--files-from -0 --null -j --jobs --allow-empty --code --images --part -d --directory --force' ;;
    html) options='--files-from -0 --null -j --jobs --allow-empty -o --output -d --directory --force --prune' ;;
    show) options='' ;;
    new) options='--code --rich --image --title --description --version --force --binary' ;;
    import) options='-o --output --title --description --version --force --binary' ;;
    set) options='--files-from -0 --null -j --jobs --allow-empty --json --dry-run -q --quiet --binary --from --code --rich --flatten --replace-encrypted --title --description --version' ;;
    replace) options='--files-from -0 --null -j --jobs --allow-empty --json --dry-run -q --quiet --binary -i --ignore-case -F --fixed-strings -w --word-regexp' ;;
    edit) options='--flatten --force' ;;
    pack) options='-o --output -d --directory --force --binary' ;;
    copy) options='--files-from -0 --null -j --jobs --allow-empty -o --output -d --directory --force --binary' ;;
    digest) options='--files-from -0 --null -j --jobs --allow-empty --code --json' ;;
    diff) options='--html --show --git --name -o --output -d --directory --force --prune --no-outputs -j --jobs --allow-empty --json -q --quiet' ;;
    merge) options='--ours --theirs --outputs --file --marker-size --ours-label --base-label --theirs-label -o --output --force --binary' ;;
    resolve) options='--ours --theirs' ;;
    git) options='--global --local --undo --check --filter --strip-outputs --hook --no-outputs --form' ;;
    check) options='--files-from -0 --null -j --jobs --allow-empty --json --format' ;;
    canon) options='--files-from -0 --null -j --jobs --allow-empty --json --dry-run -q --quiet --binary --check --stored' ;;
    strip) options='--files-from -0 --null -j --jobs --allow-empty --json --dry-run -q --quiet --binary --check' ;;
    repair) options='--files-from -0 --null -j --jobs --allow-empty -o --output -d --directory --in-place --dry-run --json -q --quiet --force --binary' ;;
    help) options='--json' ;;
    *)
        options='--version -V'
        words=$commands
        ;;
    esac
    [[ $command == help ]] && words=$commands
    case $command:$previous in
    cat:--files-from) kind=files ;;
    cat:-j | cat:--jobs) kind=none ;;
    cat:--format) words='text md xml raw' current=${current#=} ;;
    grep:--files-from) kind=files ;;
    grep:-j | grep:--jobs) kind=none ;;
    grep:-e | grep:--regexp) kind=none ;;
    grep:--in) kind=none ;;
    grep:-A | grep:--after-context) kind=none ;;
    grep:-B | grep:--before-context) kind=none ;;
    grep:-C | grep:--context) kind=none ;;
    grep:-m | grep:--max-count) kind=none ;;
    grep:--color) words='auto always never' current=${current#=} ;;
    info:--files-from) kind=files ;;
    info:-j | info:--jobs) kind=none ;;
    ls:--files-from) kind=files ;;
    ls:-j | ls:--jobs) kind=none ;;
    ls:--sort) words='name size lines modified title' current=${current#=} ;;
    parts:--files-from) kind=files ;;
    parts:-j | parts:--jobs) kind=none ;;
    extract:--files-from) kind=files ;;
    extract:-j | extract:--jobs) kind=none ;;
    extract:--part) kind=none ;;
    extract:-d | extract:--directory) kind=folders ;;
    html:--files-from) kind=files ;;
    html:-j | html:--jobs) kind=none ;;
    html:-o | html:--output) kind=files ;;
    html:-d | html:--directory) kind=folders ;;
    new:--code) kind=files ;;
    new:--rich) kind=files ;;
    new:--image) kind=files ;;
    new:--title) kind=none ;;
    new:--description) kind=none ;;
    new:--version) kind=none ;;
    import:-o | import:--output) kind=files ;;
    import:--title) kind=none ;;
    import:--description) kind=none ;;
    import:--version) kind=none ;;
    set:--files-from) kind=files ;;
    set:-j | set:--jobs) kind=none ;;
    set:--from) kind=files ;;
    set:--code) kind=files ;;
    set:--rich) kind=files ;;
    set:--title) kind=none ;;
    set:--description) kind=none ;;
    set:--version) kind=none ;;
    replace:--files-from) kind=files ;;
    replace:-j | replace:--jobs) kind=none ;;
    pack:-o | pack:--output) kind=files ;;
    pack:-d | pack:--directory) kind=folders ;;
    copy:--files-from) kind=files ;;
    copy:-j | copy:--jobs) kind=none ;;
    copy:-o | copy:--output) kind=files ;;
    copy:-d | copy:--directory) kind=folders ;;
    digest:--files-from) kind=files ;;
    digest:-j | digest:--jobs) kind=none ;;
    diff:--git) kind=none ;;
    diff:--name) kind=none ;;
    diff:-o | diff:--output) kind=files ;;
    diff:-d | diff:--directory) kind=folders ;;
    diff:-j | diff:--jobs) kind=none ;;
    merge:--outputs) words='ours theirs drop conflict' current=${current#=} ;;
    merge:--file) kind=none ;;
    merge:--marker-size) kind=none ;;
    merge:--ours-label) kind=none ;;
    merge:--base-label) kind=none ;;
    merge:--theirs-label) kind=none ;;
    merge:-o | merge:--output) kind=files ;;
    git:--form) kind=none ;;
    check:--files-from) kind=files ;;
    check:-j | check:--jobs) kind=none ;;
    check:--format) words='text sarif' current=${current#=} ;;
    canon:--files-from) kind=files ;;
    canon:-j | canon:--jobs) kind=none ;;
    strip:--files-from) kind=files ;;
    strip:-j | strip:--jobs) kind=none ;;
    repair:--files-from) kind=files ;;
    repair:-j | repair:--jobs) kind=none ;;
    repair:-o | repair:--output) kind=files ;;
    repair:-d | repair:--directory) kind=folders ;;
    esac

    COMPREPLY=()
    [[ $kind == none ]] && return
    [[ $current == -* ]] && words="$options -h --help"
    if [[ -n $words ]]; then
        mapfile -t COMPREPLY < <(compgen -W "$words" -- "$current")
        return
    fi
    compopt -o filenames
    case $kind in
    folders) mapfile -t COMPREPLY < <(compgen -d -- "$current") ;;
    files) mapfile -t COMPREPLY < <(compgen -f -- "$current") ;;
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
