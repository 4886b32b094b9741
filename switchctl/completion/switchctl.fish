# Completion of switchctl's command line in fish: what bash's completion knows, which stands beside it.
function __switchctl_complete
    set -l file /usr/share/bash-completion/completions/switchctl
    set -q SWITCHCTL_COMPLETION; and set file $SWITCHCTL_COMPLETION
    set -l words (commandline -opc) (commandline -ct | string unescape)
    test (count $words) -gt (count (commandline -opc)); or set -a words ''
    bash -c 'source "$1" && shift && _switchctl_for_words "$@"' bash $file $words 2>/dev/null
end

complete -c switchctl -f -a '(__switchctl_complete)'
