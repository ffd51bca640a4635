# Bash completion for qor-ros2: its commands, their verbs, each verb's options, and where an
# argument is a topic, a message type, a package or a node, the names the program itself lists.
# Installed as share/bash-completion/completions/qor-ros2; or source it from ~/.bashrc.

# Every verb with the options it takes. This table is the only list of options in this file; the
# tests check it against the options the program accepts.
declare -gA _qor_ros2_options=(
  ["interface list"]="-m --only-msgs -s --only-srvs -a --only-actions"
  ["interface packages"]="-m --only-msgs -s --only-srvs -a --only-actions"
  ["interface package"]="-m --only-msgs -s --only-srvs -a --only-actions"
  ["interface proto"]="--no-quotes"
  ["interface show"]=""
  ["node list"]="-a --all -c --count-nodes --spin-time -s --use-sim-time --no-daemon"
  ["node info"]="--include-hidden --spin-time -s --use-sim-time --no-daemon"
  ["topic list"]="-t --show-types -c --count-topics --include-hidden-topics --spin-time -s --use-sim-time --no-daemon"
  ["topic info"]="-v --verbose --spin-time -s --use-sim-time --no-daemon"
  ["topic type"]="--include-hidden-topics --spin-time -s --use-sim-time --no-daemon"
  ["topic find"]="-c --count-topics --include-hidden-topics --spin-time -s --use-sim-time --no-daemon"
  ["topic pub"]="-r --rate -p --print -1 --once -t --times -w --wait-matching-subscriptions --max-wait-time-secs --keep-alive -n --node-name --qos-profile --qos-depth --qos-history --qos-reliability --qos-durability --spin-time -s --use-sim-time"
  ["topic echo"]="--spin-time -s --use-sim-time --no-daemon --qos-profile --qos-depth --qos-history --qos-reliability --qos-durability --csv --field -f --full-length -l --truncate-length --no-arr --no-str --flow-style --lost-messages --no-lost-messages --raw --filter --once --timeout --save"
  ["topic hz"]="-w --window --filter --wall-time --qos-profile --qos-depth --qos-history --qos-reliability --qos-durability --spin-time -s --use-sim-time"
  ["topic bw"]="-w --window --qos-profile --qos-depth --qos-history --qos-reliability --qos-durability --spin-time -s --use-sim-time"
  ["topic delay"]="-w --window --qos-profile --qos-depth --qos-history --qos-reliability --qos-durability --spin-time -s --use-sim-time"
  ["security create_keystore"]=""
  ["security create_enclave"]=""
)

# The options of each verb that take a value: the word after one is that value.
declare -gA _qor_ros2_valued_options=(
  ["topic pub"]=" -r --rate -p --print -t --times -w --wait-matching-subscriptions --max-wait-time-secs --keep-alive -n --node-name --qos-profile --qos-depth --qos-history --qos-reliability --qos-durability --spin-time "
  ["topic echo"]=" --spin-time --qos-profile --qos-depth --qos-history --qos-reliability --qos-durability --field -l --truncate-length --filter --timeout --save "
  ["topic hz"]=" -w --window --filter --qos-profile --qos-depth --qos-history --qos-reliability --qos-durability --spin-time "
  ["topic bw"]=" -w --window --qos-profile --qos-depth --qos-history --qos-reliability --qos-durability --spin-time "
  ["topic delay"]=" -w --window --qos-profile --qos-depth --qos-history --qos-reliability --qos-durability --spin-time "
  ["topic list"]=" --spin-time "
  ["topic info"]=" --spin-time "
  ["topic type"]=" --spin-time "
  ["topic find"]=" --spin-time "
  ["node list"]=" --spin-time "
  ["node info"]=" --spin-time "
)


# What the positional arguments of each verb are, in order: a topic, type, package or node name
# is completed from what the program lists, a directory from the file system, anything else not.
declare -gA _qor_ros2_arguments=(
  ["interface package"]="package"
  ["interface proto"]="type"
  ["interface show"]="type"
  ["node info"]="node"
  ["topic info"]="topic"
  ["topic type"]="topic"
  ["topic find"]="type"
  ["topic pub"]="topic type values"
  ["topic echo"]="topic type"
  ["topic hz"]="topic topic topic topic topic topic topic topic"
  ["topic bw"]="topic"
  ["topic delay"]="topic"
  ["security create_keystore"]="directory"
  ["security create_enclave"]="directory enclave"
)

# Sets COMPREPLY to the words of the list $1 that start with $2.
_qor_ros2_reply() {
  mapfile -t COMPREPLY < <(compgen -W "$1" -- "$2")
}

# The commands ("interface", "node", ...) or, given a command, its verbs.
_qor_ros2_words_of_table() {
  local key
  for key in "${!_qor_ros2_options[@]}"; do
    if [[ -z $1 ]]; then
      printf '%s\n' "${key%% *}"
    elif [[ ${key%% *} == "$1" ]]; then
      printf '%s\n' "${key#* }"
    fi
  done | sort -u
}

# The names the program at $1 lists for an argument of kind $2. Topics and nodes come from the
# running graph in ROS_DOMAIN_ID, which takes the program about a second to settle.
_qor_ros2_names() {
  case $2 in
    topic) "$1" topic list 2>/dev/null ;;
    node) "$1" node list 2>/dev/null ;;
    type) "$1" interface list --only-msgs 2>/dev/null | sed -n 's/^    //p' ;;
    package) "$1" interface packages 2>/dev/null ;;
  esac
}

_qor_ros2() {
  local program=${COMP_WORDS[0]}
  local current=${COMP_WORDS[COMP_CWORD]}
  COMPREPLY=()
  if ((COMP_CWORD == 1)); then
    _qor_ros2_reply "$(_qor_ros2_words_of_table "") --help" "$current"
    return 0
  fi
  if ((COMP_CWORD == 2)); then
    _qor_ros2_reply "$(_qor_ros2_words_of_table "${COMP_WORDS[1]}")" "$current"
    return 0
  fi
  local verb="${COMP_WORDS[1]} ${COMP_WORDS[2]}"
  [[ -v "_qor_ros2_options[$verb]" ]] || return 0

  local valued=${_qor_ros2_valued_options[$verb]-}
  local previous=${COMP_WORDS[COMP_CWORD - 1]}
  if [[ $valued == *" $previous "* ]]; then
    case $previous in
      --qos-profile)
        _qor_ros2_reply "system_default sensor_data services_default parameters parameter_events action_status_default" "$current"
        ;;
      --qos-reliability) _qor_ros2_reply "system_default reliable best_effort" "$current" ;;
      --qos-durability) _qor_ros2_reply "system_default transient_local volatile" "$current" ;;
      --qos-history) _qor_ros2_reply "system_default keep_last keep_all" "$current" ;;
      --save) mapfile -t COMPREPLY < <(compgen -f -- "$current") ;;
    esac
    return 0
  fi
  if [[ $current == -* ]]; then
    _qor_ros2_reply "${_qor_ros2_options[$verb]}" "$current"
    return 0
  fi

  # Which positional argument the word is: the words before it that are neither options nor
  # the values of options.
  local position=0 i
  for ((i = 3; i < COMP_CWORD; i++)); do
    if [[ $valued == *" ${COMP_WORDS[i]} "* ]]; then
      ((i++))
    elif [[ ${COMP_WORDS[i]} != -* ]]; then
      ((position++))
    fi
  done
  local kinds
  read -r -a kinds <<<"${_qor_ros2_arguments[$verb]-}"
  local kind=${kinds[position]:-}
  case $kind in
    topic | node | type | package)
      _qor_ros2_reply "$(_qor_ros2_names "$program" "$kind")" "$current"
      ;;
    directory)
      mapfile -t COMPREPLY < <(compgen -d -- "$current")
      ;;
  esac
  return 0
}

complete -F _qor_ros2 qor-ros2
