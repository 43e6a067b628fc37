# Made by packaging/completion/generate from the programs' tables of verbs and options.

complete -c vellctl -f
function __vellctl_verb
    set -l words (commandline -opc)
    test "$words[2]" = "$argv"
end
complete -c vellctl -n 'test (count (commandline -opc)) = 1' -a import -d 'put what the file holds in the place of the whole content,'
complete -c vellctl -n 'test (count (commandline -opc)) = 1' -a export -d 'print the whole content in the same form'
complete -c vellctl -n 'test (count (commandline -opc)) = 1' -a get -d 'print one value of the product configuration'
complete -c vellctl -n 'test (count (commandline -opc)) = 1' -a set -d 'write one value of the product configuration'
complete -c vellctl -n 'test (count (commandline -opc)) = 1' -a remove -d 'take one value of the product configuration out'
complete -c vellctl -n 'test (count (commandline -opc)) = 1' -l help
complete -c vellctl -n 'test (count (commandline -opc)) = 1' -l version
complete -c vellctl -n '__vellctl_verb import' -a '(__fish_complete_suffix .json | string match -r \'.*(?:\\.json|/)(?:\\t.*)?$\')'
