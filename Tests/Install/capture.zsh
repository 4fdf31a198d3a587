# Prints what zsh offers at the end of a line: zsh -f capture.zsh FOLDER LINE, where FOLDER
# holds completion functions. The line is typed in a terminal, and compadd says what it is
# given.
zmodload zsh/zpty
zpty child zsh -f -i
zpty -w child "fpath=($1 \$fpath)
PROMPT=
autoload -U compinit
compinit -u -D
bindkey '^I' complete-word
comppostfuncs=(finished)
finished() { print -r -- DONE }
compadd() {
  if [[ \${@[1,(i)(-|--)]} == *-(O|A|D)\\ * ]]; then builtin compadd \"\$@\"; return; fi
  local -a hits
  builtin compadd -A hits \"\$@\"
  (( \$#hits )) && print -lr -- MATCH:\${^hits}
}
print READY\$((1 + 1))"
zpty -r child text '*READY2*'
zpty -w -n child "$2"$'\t'
zpty -r child text '*DONE*'
print -r -- $text | tr -d '\r' | sed -n 's/.*MATCH://p'
zpty -d child
