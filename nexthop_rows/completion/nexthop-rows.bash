# Completion of nexthop-rows in bash. The program knows its own words.
_nexthop_rows() {
   local line word=${COMP_WORDS[COMP_CWORD]}
   COMPREPLY=()
   while IFS= read -r line; do
      if [[ $line == :files ]]; then
         compopt -o filenames 2>/dev/null
         mapfile -t -O ${#COMPREPLY[@]} COMPREPLY < <(compgen -f -- "$word")
      else
         COMPREPLY+=("${line%%$'\t'*}")
      fi
   done < <("${COMP_WORDS[0]}" complete "${COMP_WORDS[@]:1:COMP_CWORD}" 2>/dev/null)
}
complete -F _nexthop_rows nexthop-rows
