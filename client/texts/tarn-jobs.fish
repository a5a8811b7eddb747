# Completion of tarn-jobs for fish. The program itself says what fits.
function __tarn_jobs_complete
    set -l words (commandline -opc) (commandline -ct)
    for line in (tarn-jobs __complete $words[2..] 2>/dev/null)
        if test "$line" = :files
            __fish_complete_path (commandline -ct)
        else
            echo $line
        end
    end
end
complete -c tarn-jobs -f -a '(__tarn_jobs_complete)'
