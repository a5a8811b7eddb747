# Completion of tarn-jobs for bash. The program itself says what fits.
_tarn_jobs() {
    local current=${COMP_WORDS[COMP_CWORD]} lines=() line value
    mapfile -t lines < <(tarn-jobs __complete "${COMP_WORDS[@]:1:COMP_CWORD}" 2>/dev/null)
    COMPREPLY=()
    for line in "${lines[@]}"; do
        if [ "$line" = :files ]; then
            compopt -o filenames 2>/dev/null
            mapfile -t -O "${#COMPREPLY[@]}" COMPREPLY < <(compgen -f -- "$current")
            continue
        fi
        printf -v value %q "${line%%$'\t'*}"
        # In a list, a value shows what it is; what is put into the line is the value alone.
        if [ ${#lines[@]} -gt 1 ] && [ "${COMP_TYPE:-9}" = 63 ] && [ -n "${line#*$'\t'}" ]; then
            value+="  (${line#*$'\t'})"
        fi
        COMPREPLY+=("$value")
    done
}
complete -F _tarn_jobs tarn-jobs
