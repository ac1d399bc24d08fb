# shellcheck shell=bash
# Completes the words of kesu, kesu-server and kesu-data in bash, by what their --help says.

# What "--option=VALUE" of the help text $2 calls the value of the option $1; nothing if it has none.
_kesu_value_of() {
  sed -nE "s/^ +(-., )?$1=([^ ]*) .*/\2/p" <<<"$2"
}

# _kesu PROGRAM CURRENT PREVIOUS: bash calls it, with the command line in COMP_WORDS.
_kesu() {
  local current=$2 previous=$3 help word commands value="" words="" choices=""
  help=$("$1" --help 2>/dev/null) || return
  # "--option=value" is three words.
  [[ "$current" != "=" ]] || current=""
  [[ "$previous" != "=" ]] || previous=${COMP_WORDS[COMP_CWORD - 2]}
  [[ "$previous" != --* ]] || value=$(_kesu_value_of "$previous" "$help")

  # There is one command; decode and replay have a file, import a kind and files.
  commands=$(sed -nE '/^Commands:/,/^$/s/^  ([a-z]+) .*/\1/p' <<<"$help")
  for word in "${COMP_WORDS[@]:1:COMP_CWORD - 1}"; do
    case "$word" in
      decode | replay) commands="" words=FILE ;;
      import | export) commands="" words=KIND ;;
      cells | wifi | reports | places | addresses) words=FILE ;;
      locate | track | reverse | httptest | stats | check | synthesize) commands="" ;;
    esac
  done
  [[ "$current" == -* ]] || value=${value:-$words}

  case "$value" in
    FILE | DIRECTORY) compopt -o default 2>/dev/null ;;
    KIND*)
      choices=$(sed -n 's/.*KIND is //p' <<<"$help" | sed -E 's/=[A-Z]+/=/g; s/,| or / /g')
      [[ "$value" == KIND ]] || compopt -o nospace 2>/dev/null
      ;;
    ?*) ;;
    *)
      choices=$commands
      [[ "$current" != -* ]] || choices=$(grep -oE -- '--[a-z-]+' <<<"$help")
      ;;
  esac
  mapfile -t COMPREPLY < <(compgen -W "$choices" -- "$current" | sort -u)
}

complete -F _kesu kesu kesu-server kesu-data
