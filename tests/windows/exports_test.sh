#!/usr/bin/env bash
# The export table of tq4_genicam.dll, read from the DLL itself: every ordinal with its name,
# the second names of ordinals 45 and 47 at the addresses of 18 and 46, nothing else.
#   bash exports_test.sh path/to/tq4_genicam.dll
set -euo pipefail
dll="$1"
expected="1 Open_Cam
2 Close_Cam
3 Check_Device_Availability
4 Open_Cam_Ext
5 Control_Command
6 Set_Timeouts
8 Get_Generation_Count
10 Get_Image_Queued
11 Set_Image_Buffer
12 Cancel_Images
13 Get_Pending_Buffer
15 Get_Transfer_Parameters
16 Set_Transfer_Parameters
17 Set_Image_Parameters
18 Set_Image_Transfer_Mode
19 Get_Image_Transfer_Mode
45 Get_Camera_Error
46 ZEVO_GetVersionTQ4_Genicam
47 ZEVO_GetVersion_genicam
48 Get_Feature
49 Set_Feature"
table="$(x86_64-w64-mingw32-objdump -p "$dll")"
base="$(sed -n 's/^Export Address Table -- Ordinal Base \([0-9]*\).*/\1/p' <<<"$table")"
# "[Ordinal/Name Pointer] Table": "[ordinal - base] name" (binutils 2.40).
names="$(sed -n '/\[Ordinal\/Name Pointer\] Table/,/^$/p' <<<"$table" |
  sed -n 's/^[[:space:]]*\[[[:space:]]*\([0-9]*\)\] \(.*\)$/\1 \2/p' |
  awk -v base="${base:-1}" '{ print $1 + base, $2 }' | sort -n)"
# "Export Address Table": "[ordinal - base] +base[ordinal] rva Export RVA"; unused ordinals have
# no line or rva 0.
addresses="$(sed -n '/Export Address Table --/,/^$/p' <<<"$table" |
  sed -n 's/^[[:space:]]*\[[[:space:]]*[0-9]*\] +base\[[[:space:]]*\([0-9]*\)\] \([0-9a-f]*\) Export RVA$/\1 \2/p' |
  awk '$2 !~ /^0+$/')"
fail=0
if [ "$names" != "$expected" ]; then
  echo "exports by name and ordinal differ:"; diff <(echo "$expected") <(echo "$names") || true; fail=1
fi
if [ "$(cut -d' ' -f1 <<<"$addresses" | sort -n)" != "$(cut -d' ' -f1 <<<"$expected")" ]; then
  echo "ordinals with an address differ from the table:"; echo "$addresses"; fail=1
fi
rva() { awk -v o="$1" '$1 == o { print $2 }' <<<"$addresses"; }
for pair in "18 45" "46 47"; do
  set -- $pair
  if [ -z "$(rva "$1")" ] || [ "$(rva "$1")" != "$(rva "$2")" ]; then
    echo "ordinals $1 and $2 do not share one address: $(rva "$1") $(rva "$2")"; fail=1
  fi
done
distinct=$(cut -d' ' -f2 <<<"$addresses" | sort -u | wc -l)
if [ "$distinct" -ne 19 ]; then echo "expected 19 distinct functions, found $distinct"; fail=1; fi
[ "$fail" -eq 0 ] && echo "exports: 21 names on 21 ordinals, 19 functions, nothing else"
exit "$fail"
