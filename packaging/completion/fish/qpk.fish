# Made by packaging/completion/generate from the programs' tables of verbs and options.

complete -c qpk -f
function __qpk_verb
    set -l words (commandline -opc)
    test "$words[2]" = "$argv"
end
complete -c qpk -n 'test (count (commandline -opc)) = 1' -a pack -d 'makes a package of a folder'
complete -c qpk -n 'test (count (commandline -opc)) = 1' -a check -d 'shows everything that is wrong with packages'
complete -c qpk -n 'test (count (commandline -opc)) = 1' -a show -d 'shows what is in a package'
complete -c qpk -n 'test (count (commandline -opc)) = 1' -a keygen -d 'makes a pair of keys to sign with'
complete -c qpk -n 'test (count (commandline -opc)) = 1' -a sign -d 'signs a package'
complete -c qpk -n 'test (count (commandline -opc)) = 1' -a feed -d 'makes an update feed of a folder of packages'
complete -c qpk -n 'test (count (commandline -opc)) = 1' -l help
complete -c qpk -n 'test (count (commandline -opc)) = 1' -l version
complete -c qpk -n '__qpk_verb pack' -l output -x -a '(__fish_complete_suffix .qpk | string match -r \'.*(?:\\.qpk|/)(?:\\t.*)?$\')' -d 'write FILE'
complete -c qpk -n '__qpk_verb pack' -l help -d 'explains the verb'
complete -c qpk -n '__qpk_verb pack' -a '(__fish_complete_directories)'
complete -c qpk -n '__qpk_verb check' -l product -x -d 'would it also install where this host product is'
complete -c qpk -n '__qpk_verb check' -l json -d 'print one JSON document'
complete -c qpk -n '__qpk_verb check' -l help -d 'explains the verb'
complete -c qpk -n '__qpk_verb check' -a '(__fish_complete_suffix .qpk | string match -r \'.*(?:\\.qpk|/)(?:\\t.*)?$\')'
complete -c qpk -n '__qpk_verb show' -l help -d 'explains the verb'
complete -c qpk -n '__qpk_verb show' -a '(__fish_complete_suffix .qpk | string match -r \'.*(?:\\.qpk|/)(?:\\t.*)?$\')'
complete -c qpk -n '__qpk_verb keygen' -l succeeds -x -a '(__fish_complete_suffix .key | string match -r \'.*(?:\\.key|/)(?:\\t.*)?$\')' -d 'the private key OLD names the new one as its successor'
complete -c qpk -n '__qpk_verb keygen' -l help -d 'explains the verb'
complete -c qpk -n '__qpk_verb sign' -l key -x -a '(__fish_complete_suffix .key | string match -r \'.*(?:\\.key|/)(?:\\t.*)?$\')' -d 'the private key'
complete -c qpk -n '__qpk_verb sign' -l help -d 'explains the verb'
complete -c qpk -n '__qpk_verb sign' -a '(__fish_complete_suffix .qpk | string match -r \'.*(?:\\.qpk|/)(?:\\t.*)?$\')'
complete -c qpk -n '__qpk_verb feed' -l serial -x -d 'the feed\'s number'
complete -c qpk -n '__qpk_verb feed' -l expires -x -d 'until when the feed is valid'
complete -c qpk -n '__qpk_verb feed' -l key -x -a '(__fish_complete_suffix .key | string match -r \'.*(?:\\.key|/)(?:\\t.*)?$\')' -d 'the private key'
complete -c qpk -n '__qpk_verb feed' -l block -x -d 'withdraw a version'
complete -c qpk -n '__qpk_verb feed' -l no-page -d 'write no index.html'
complete -c qpk -n '__qpk_verb feed' -l title -x -d 'the page\'s title'
complete -c qpk -n '__qpk_verb feed' -l product -x -d 'what the page calls a host product'
complete -c qpk -n '__qpk_verb feed' -l help -d 'explains the verb'
complete -c qpk -n '__qpk_verb feed' -a '(__fish_complete_directories)'
