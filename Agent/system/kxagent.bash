# Completes kxagent's options and its configuration.
_kxagent() {
  local word=${COMP_WORDS[COMP_CWORD]}
  mapfile -t COMPREPLY < <(compgen -W "--check --version --help" -- "$word"; compgen -f -- "$word")
}
complete -o filenames -F _kxagent kxagent
