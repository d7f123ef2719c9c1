# Laser ranging files: sessions and their headers, dates, spans, versions, damaged lines, kinds of records.
h1="H1 CRD 2 2021 01 27 09"; h2="H2 TEST 7000 34 02 4 NET"; h3="H3 ball 7603901 1155 8820 0 1 1"
h4="H4 0 2021 01 26 10 00 00 2021 01 26 10 30 00 0 0 0 0 1 0 2 0"; range="10 36100.5 0.05 std 2 2 0 0 0 0"
crd() { rm -rf tables; leopod crd --out tables "$@"; }
epochs() { cut -d, -f1-2,7- "tables/$1.csv"; }

echo "# sessions"
printf '%s\n' "20 1 2 3 4 5" "$h1" "$h2" "$h3" "$h4" "$range" "$h4" "$range" "$range" "H3 cube na na na 0 1 1" "$h4" "$range" "c0 0 532.0 std" H8 "$range" H9 "" \
  "H1 CRD 0 2021 01 27 09" "H2 OTHER      7111 34 02  4" "H3 ball       7603901 1155     8820 0 1" "$h4" "$range" H8 "H1 CRD 3 2021 01 27 09" "$h4" "$range" H8 H9 \
  "$h1" "H2 BARE x na -1 7" "$h3" "H4 1 2021 01 26 10 00 60 2021 01 26 10 30 00 0 0 0 0 1 0 1 1" "$range" H8 "H4 2 2021 01 26 10 00 00 2021 02 30 10 30 00 0 0 0 0 1 0 0 na" "$range" H8 \
  "H4 3 2021 01 26 10 00 00 na na na na na na 0 0 0 0 1 0 4 x" "12 36000 std 1 2 3 4" H8 "H4 na 2021 01 26 10 00 00 na na na na na na 0 0 0 0 1 0 5 2" "$range" H8 "H4 -1 2021 01 26 10 00 00 na na na na na na 0 0 0 0 1 0 3 2" "11 36000 0.1 std 2 3 4 5 6 7 8" > sessions.crd
crd sessions.crd --summary summary.json
for table in sessions 10 11 12 C0 H4; do cat tables/$table.csv; done
grep -A 400 '"sessions"' summary.json | head -n 60; grep -A 60 '"lines"' summary.json

echo "# unknown records, blanks, versions"
{ printf '%s\n' "$h1" "$h2" "$h3" "$h4"; for id in A1 A2 A3 A4 A5 A6 A7 A8 A9 A1 B7 B8 90 99 9 9: 900 9A 61 XXXXXXXXXXXXX; do echo "$id 1 2 3"; done; printf '  \n\t\r\n%b\n' 'C\0001\0377Z 1' '30 36000 1 2 3'; } > unknown.crd
crd unknown.crd; grep -v session tables/30.csv
printf 'H1 CRD 1 2008 5 8 19\r\nh2 MDOL 7080 24 19 4 NASA\r\n h3 giovea 505101 7001 28922 0 1\r\nh4 1 2008 5 8 9 40 23 2008 5 8 9 50 45 0 0 0 0 1 0 2 0\r\n11\t34945.620986680762 0.167738944021 std 2 300 116 193.3 na NA na 3.87 0\r\n12 34945.6 std 1 2 3 x\r\n \r\n\r\nh8\r\n' > old.crd
crd old.crd unknown.crd --records 11,h4,c0,30 --log-level warning; ls tables; cat tables/11.csv tables/sessions.csv

echo "# dates"
dates() { { printf '%s\n' "$h1" "$h2" "$h3" "H4 0 $1 0 0 0 0 1 0 2 0"; shift; for s in "$@"; do echo "20 $s 1 2 3 0"; echo "40 82000 0 s 1 1 na na 0 0 0 0 0 0 0 0 na na"; done; } > dates.crd; crd dates.crd > said; grep 'without a date' said; cut -d, -f7,8 tables/20.csv | paste -sd' '; }
dates "2020 02 28 10 00 00 2020 03 01 22 00 00" 36000.5 80000 10000 50000 49900 20000 79000
for end in "na na na na na na" "2019 12 31 22 0 0" "2020 02 01 23 00 00" "2020 02 01 23 00 01"; do dates "2019 12 31 23 00 00 $end" 83000 600 30000 70000 82000 81399 900 299 86399.9999999999999 85000; done
dates "2016 12 31 23 50 00 2017 01 01 00 10 00" 86399.9999999999994 86399.9999999999999 86400.5 86401 0 -1 na x inf 1e4900
for start in "2016 12 31 23 59 60" "2016 12 31 22 59 60" "1949 12 31 0 0 0" "1950 1 1 0 0 0" "2099 12 31 0 0 0" "2100 1 1 0 0 0" "2021 0 1 0 0 0" "2021 2 29 0 0 0" "2021 1 1 24 0 0" "2021 1 1 23 60 0" "2021 1 1 -1 0 0"; do dates "$start na na na na na na" 5; done

echo "# spans"
{ printf '%s\n' "$h1" "$h2" "$h3" "H4 0 2021 01 26 23 00 00 2021 01 27 01 00 00 0 0 0 0 1 0 2 0"; for s in 83000 86399.9 10 600.5; do echo "10 $s 0.05 std 2 2 0 0 0 0"; echo "20 $s 1 2 3 0"; done; echo "10 x 0.05 std 2 2 0 0 0 0"; echo "40 na 0 std 67 58 122.977 105423.9 0.0 35.4 0.2 2.8 0.0 2 2 0 3 na"; } > span.crd
for span in "" "--from 86399.9" "--to 86410" "--from 2021-01-27T00:00:00 --to 2021-01-27T00:00:10.1"; do
  crd span.crd $span | grep -E 'ranges:|records|outside'; cut -d, -f7,13 tables/10.csv | paste -sd' '
done
crd span.crd --from 99999

echo "# refused"
leopod crd none.crd
leopod crd .
printf 'no records\n10 1 2 3\n' > text.txt; leopod crd text.txt
echo "H1 CPF 2 abc 2021 01 27 09" > other.crd; leopod crd other.crd
for version in 3 0 na x; do echo "H1 CRD $version 2021 01 27 09" > other.crd; leopod crd other.crd; done
: > empty.crd; leopod crd empty.crd
printf '%s\n' "$h1" "$h2" "$h3" "$h4" > headers.crd; leopod crd headers.crd
leopod crd span.crd --records 10
leopod crd span.crd --records 10,zz --out tables
leopod crd span.crd --out -
leopod crd span.crd --out span.crd
leopod crd span.crd --out tables --summary tables/10.csv
mkdir same; cp span.crd same/10.csv; leopod crd same/10.csv --out same; leopod crd same/10.csv --out same --records 20 | tail -n 1
leopod crd span.crd --from noon
leopod crd span.crd --from 10 --to 10
