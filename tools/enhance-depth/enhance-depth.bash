# Bash completion for enhance-depth(1).

_enhance_depth() {
  local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]}
  local subcommand='' word
  COMPREPLY=()
  # Bash makes a word of its own of the "=" in --option=value.
  if [[ $current == = ]]; then
    current=''
  elif [[ $previous == = ]]; then
    previous=${COMP_WORDS[COMP_CWORD - 2]}
  fi
  for word in "${COMP_WORDS[@]:1:COMP_CWORD-1}"; do
    if [[ $word != -* ]]; then
      subcommand=$word
      break
    fi
  done

  local options='--help --quiet' files=''
  case $subcommand in
    '')
      mapfile -t COMPREPLY < <(compgen -W 'refine sequence bench evaluate inspect --help --version' -- "$current")
      return
      ;;
    refine)
      options+=' --engine --rgb-layout --color --depth --output --confidence --preview --min-confidence --clip --cloud
        --intrinsics --depth-scale --json'
      ;;
    sequence)
      options+=' --engine --rgb-layout --color --depth --output --max-difference --every --from --to --confidence --preview
        --video --min-confidence --clip --resume --strict --jobs --csv --depth-scale --json'
      files=folders  # the recording
      ;;
    bench)
      options+=' --engine --rgb-layout --color --depth --max-difference --every --from --to --size --frames --duration --warm-up --json'
      files=folders  # the recording
      ;;
    evaluate)
      options+=' --engine --color --depth --max-difference --every --from --to --truth --seed --depth-scale --json --csv
        --plot --sheet
        --sheet-rows --compare --tolerance'
      files=folders  # the recording
      ;;
    inspect)
      options+=' --json'
      files=all  # the model
      ;;
    *) return ;;
  esac

  case $subcommand:$previous in
    *:--rgb-layout)
      mapfile -t COMPREPLY < <(compgen -W 'planar interleaved' -- "$current")
      return
      ;;
    *:--size)
      mapfile -t COMPREPLY < <(compgen -W '640x480 1280x720 1920x1080' -- "$current")
      return
      ;;
    *:--depth-scale)
      mapfile -t COMPREPLY < <(compgen -W '1000 5000 256' -- "$current")
      return
      ;;
    *:--max-difference | *:--every | *:--from | *:--to | *:--jobs | *:-j | *:--frames | *:-n | *:--warm-up | *:--seed | *:--sheet-rows | *:--tolerance | *:--duration | \
      *:--min-confidence | *:--clip | *:--intrinsics)
      return
      ;;
    sequence:--output | sequence:-o | sequence:--color | sequence:-c | sequence:--depth | sequence:-d | \
      bench:--color | bench:-c | bench:--depth | bench:-d | evaluate:--color | evaluate:-c | evaluate:--depth | evaluate:-d | evaluate:--truth) files=folders ;;
    sequence:--confidence | sequence:--preview) ;;
    *:--engine | *:-e | *:--color | *:-c | *:--depth | *:-d | *:--output | *:-o | *:--confidence | *:--preview | \
      *:--video | *:--cloud | *:--json | *:--csv | *:--plot | *:--sheet | *:--compare) files=all ;;
  esac

  if [[ $current == -* ]]; then
    mapfile -t COMPREPLY < <(compgen -W "$options" -- "$current")
  elif [[ $files == folders ]]; then
    compopt -o filenames
    mapfile -t COMPREPLY < <(compgen -d -- "$current")
  elif [[ $files == all ]]; then
    compopt -o filenames
    mapfile -t COMPREPLY < <(compgen -f -- "$current")
  else
    mapfile -t COMPREPLY < <(compgen -W "$options" -- "$current")
  fi
}

complete -F _enhance_depth enhance-depth
