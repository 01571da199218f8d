# SPDX-License-Identifier: MIT
# The identity record under power cuts. Update j stores "vj" in field
# j mod 3 (Sn, Did, Adas), so the record after any number of complete
# updates holds three consecutive indices, one per field. Values have one
# width: a store keeps the bytes behind a shorter value.
#   seed   store v1..v3 (a fresh record)
#   check  load the record (repairing a copy cut in the middle) and check it
#   cut    check, then update for ever; the host stops the machine at a
#          random moment
. /lab/lib.sh
FIELDS="Sn Did Adas"
field() {
  n=$(($1 % 3))
  set -- $FIELDS
  shift $n
  echo "$1"
}
c() { commctl --level 0 "$@"; }
# index_of FIELD: the index in the field's value as "sn show" lists it in
# $shown, empty when it is unreadable or holds something else. (The zeros
# go as text: busybox awk would read "0000012" as octal.)
index_of() {
  echo "$shown" | awk -v f="$1" '$1 == f && $NF ~ /^"v[0-9]+"$/ { v = $NF; gsub(/[^0-9]/, "", v); sub(/^0+/, "", v); print v }'
}

update() {
  c sn set "$(field "$1")" "$(printf 'v%07d' "$1")" >/dev/null 2>&1 || { echo "@@ update $1 failed"; return 1; }
  echo "@@ updated $1"
}

check_record() {
  shown=$(c sn show) # loads the record, repairing a copy cut in the middle
  sn=$(index_of Sn) did=$(index_of Did) adas=$(index_of Adas)
  top=$(printf '%s\n' "${sn:-0}" "${did:-0}" "${adas:-0}" | sort -n | tail -1)
  # the last complete update is "top": field r then holds the index among
  # top-2..top that is r modulo 3
  exp() { echo $((top - (top - $1 + 3) % 3)); }
  check "record-consistent" "$(exp 0) $(exp 1) $(exp 2)" "$sn $did $adas"
  check "record-copies-good" "2" "$(c sn show | grep -c -E '^MTD_PART_SN(_BACKUP)? +good$')"
  echo "@@ record $top"
}

case "$1" in
  seed) for j in 1 2 3; do update $j || exit 1; done ;;
  check) check_record ;;
  cut)
    check_record
    j=$((top + 1))
    echo "@@ cutting"
    while update $j; do j=$((j + 1)); done
    ;;
esac
