# Made by packaging/completion/generate from the programs' tables of verbs and options.

# What one run of tavik knows: names, and ids where something is typed already.
function __TavikCmd_names
    set -l lines (tavik complete $argv 2>/dev/null)
    string join \n -- $lines
    if test -n (commandline -ct | string collect)
        string replace -r '(.*)\t(.*)' '$2\t$1' -- $lines
    end
end

complete -c TavikCmd -f
complete -c TavikCmd -l help -d 'Display help information'
complete -c TavikCmd -l install -x -a '(__fish_complete_suffix .qpk | string match -r \'.*(?:\\.qpk|/)(?:\\t.*)?$\')' -d 'Install an extension'
complete -c TavikCmd -l install_for_all -x -a '(__fish_complete_suffix .qpk | string match -r \'.*(?:\\.qpk|/)(?:\\t.*)?$\')' -d 'Install a per-user extension for all users in this machine'
complete -c TavikCmd -l remove -x -a '(__TavikCmd_names installed user)' -d 'Remove an extension'
complete -c TavikCmd -l remove_for_all -x -a '(__TavikCmd_names installed allUsers)' -d 'Remove a per-user extension for all users in this machine'
complete -c TavikCmd -l enable -x -a '(__TavikCmd_names disabled both)' -d 'Enable an extension'
complete -c TavikCmd -l disable -x -a '(__TavikCmd_names enabled both)' -d 'Disable an extension'
complete -c TavikCmd -l list -x -a 'all (__TavikCmd_names products)' -d 'List extensions for a specified product'
complete -c TavikCmd -l locale -x -a 'de_DE en_US fr_FR ja_JP' -d 'Define the locale for a specified product'
complete -c TavikCmd -l product -x -a '(__TavikCmd_names products)' -d 'Set product name'
complete -c TavikCmd -l list_update -x -a 'all (__TavikCmd_names products)' -d 'List which extension(s) need update'
complete -c TavikCmd -l list_update_extension -x -a '(__TavikCmd_names installed both)' -d 'List the update info for one extension'
complete -c TavikCmd -l update -x -a '(__TavikCmd_names installed both)' -d 'Update specifier extension'
complete -c TavikCmd -l launch -x -a 'de_DE en_US fr_FR ja_JP' -d 'Launch Quendel QZ'
complete -c TavikCmd -l setKPSEndPoint -x -d 'set the KPS end point'
complete -c TavikCmd -l accessToken -x -d 'set the KPS accessToken'
complete -c TavikCmd -l tokenType -x -a 'Bearer' -d 'set the KPS token type'
complete -c TavikCmd -l accountID -x -d 'set the KPS account ID'
complete -c TavikCmd -l list_as_xml -x -a 'all (__TavikCmd_names products)' -d 'list extension info as xml format'
complete -c TavikCmd -l disableSendResult -x -a 'true false' -d 'disable send result'
