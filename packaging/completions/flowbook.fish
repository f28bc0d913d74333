# Completes the flowbook command in fish.
set -l commands cat info parts extract html show new set copy digest diff merge git check canon repair help
set -l many '__fish_seen_subcommand_from cat info parts html set digest check canon'
set -l none "not __fish_seen_subcommand_from $commands"

complete -c flowbook -s h -l help -d 'Print help'
complete -c flowbook -n $none -l version -d 'Print the version'
complete -c flowbook -n $none -f -a cat -d 'Print the code of flowbooks'
complete -c flowbook -n $none -f -a info -d 'Tell the form of the code, the properties and the parts'
complete -c flowbook -n $none -f -a parts -d 'Show how the parts refer to each other'
complete -c flowbook -n $none -f -a extract -d 'Unpack code, pictures and parts'
complete -c flowbook -n $none -f -a html -d 'Make pages'
complete -c flowbook -n $none -f -a show -d 'Show a flowbook in the browser'
complete -c flowbook -n $none -f -a new -d 'Create a flowbook'
complete -c flowbook -n $none -f -a set -d 'Change the code or properties'
complete -c flowbook -n $none -f -a copy -d 'Write what the flowbook consists of into a new file'

complete -c flowbook -n $none -f -a digest -d 'Tell flowbooks apart by their content'
complete -c flowbook -n $none -f -a diff -d 'Show how two flowbooks differ'
complete -c flowbook -n $none -f -a merge -d 'Bring together what two changed'
complete -c flowbook -n $none -f -a git -d 'Set git up, or print a flowbook as text for it'
complete -c flowbook -n $none -f -a check -d 'Find what is wrong'
complete -c flowbook -n $none -f -a canon -d 'Rewrite in one fixed form'
complete -c flowbook -n $none -f -a repair -d 'Save what is whole of a damaged flowbook'
complete -c flowbook -n $none -f -a help -d 'Print help'

complete -c flowbook -n '__fish_seen_subcommand_from help' -f -a "$commands"
complete -c flowbook -n $many -l files-from -r -d 'Take further names from this file'
complete -c flowbook -n $many -s 0 -l null -d 'The names of --files-from end in NUL'
complete -c flowbook -n $many -s j -l jobs -x -d 'How many files to work on at once'
complete -c flowbook -n '__fish_seen_subcommand_from cat' -l format -x -a 'text xml raw' -d 'What to print'
complete -c flowbook -n '__fish_seen_subcommand_from cat info parts digest check' -l json -d 'Print JSON'
complete -c flowbook -n '__fish_seen_subcommand_from extract' -s d -l directory -x -a '(__fish_complete_directories)' \
    -d 'Folder to unpack into'
complete -c flowbook -n '__fish_seen_subcommand_from html' -s d -l directory -x -a '(__fish_complete_directories)' \
    -d 'Folder for a page each'
complete -c flowbook -n '__fish_seen_subcommand_from extract' -l code -d 'The plain code'
complete -c flowbook -n '__fish_seen_subcommand_from extract' -l images -d 'The pictures'
complete -c flowbook -n '__fish_seen_subcommand_from extract' -l part -x -d 'The part of this name'
complete -c flowbook -n '__fish_seen_subcommand_from new set' -l code -r -d 'File with plain code'
complete -c flowbook -n '__fish_seen_subcommand_from set' -l flatten -d 'Drop what is around the code, if need be'
complete -c flowbook -n '__fish_seen_subcommand_from new set' -l rich -r -d 'File with a rich code document'
complete -c flowbook -n '__fish_seen_subcommand_from new' -l image -r -d 'File with a picture'
complete -c flowbook -n '__fish_seen_subcommand_from new set' -l title -x -d Title
complete -c flowbook -n '__fish_seen_subcommand_from new set' -l description -x -d Description
complete -c flowbook -n '__fish_seen_subcommand_from new set' -l version -x -d 'Version of the document'
complete -c flowbook -n '__fish_seen_subcommand_from cat extract html new copy' -l force -d 'Replace files that are there, write bytes to a terminal'
complete -c flowbook -n '__fish_seen_subcommand_from digest' -l code -d 'Of the code alone'
complete -c flowbook -n '__fish_seen_subcommand_from canon' -l check -d 'Change nothing, name what would change'
complete -c flowbook -n '__fish_seen_subcommand_from html merge repair' -s o -l output -r -d 'Where the result goes'
complete -c flowbook -n '__fish_seen_subcommand_from merge' -l ours -d 'Settle conflicts as OURS has it'
complete -c flowbook -n '__fish_seen_subcommand_from merge' -l theirs -d 'Settle conflicts as THEIRS has it'
complete -c flowbook -n '__fish_seen_subcommand_from git' -f -a 'setup textconv'
complete -c flowbook -n '__fish_seen_subcommand_from git' -l global -d 'Set up all repositories'
complete -c flowbook -n '__fish_seen_subcommand_from git' -l local -d 'Set up this repository'
complete -c flowbook -n '__fish_seen_subcommand_from git' -l undo -d 'Take back what setup wrote'
complete -c flowbook -n '__fish_seen_subcommand_from repair' -l force -d 'Replace a file that is there'
