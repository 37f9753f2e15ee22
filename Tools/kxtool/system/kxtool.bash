# Completes kxtool's commands, options and files: the tool's own help tells what there is.
_kxtool() {
  local word=${COMP_WORDS[COMP_CWORD]} help
  help=$("${COMP_WORDS[@]:0:COMP_CWORD}" --help 2>/dev/null | sed -nE 's/^  ([a-z][a-z0-9-]*)( .*)?$/\1/p; s/^  (-[a-z],)?(--[a-z-]+).*/\2/p')
  mapfile -t COMPREPLY < <(compgen -W "$help" -- "$word"; compgen -f -- "$word")
}
complete -o filenames -F _kxtool kxtool
