# Completion of tavrine for fish. The program itself tells what may stand next.

function __tavrine_complete
    set -l words (commandline -opc)
    set -l program $words[1]
    set -e words[1]
    set -l begun (commandline -ct)
    # Behind "--option=" only the value is a path.
    set -l option (string match -r -- '^-[^=]*=' $begun)
    set -l value (string replace -r -- '^-[^=]*=' '' $begun)
    for line in ($program --complete $words "$begun" 2>/dev/null)
        switch $line
            case :files
                printf "$option%s\n" (__fish_complete_path "$value")
            case :folders
                printf "$option%s\n" (__fish_complete_directories "$value")
            case :hosts
                __fish_print_hostnames
            case '*'
                printf '%s\n' $line
        end
    end
end

complete -c tavrine -f -a '(__tavrine_complete)'
