# Element sets: which are chosen, what is told of them, spans, limits, damaged lines.
sets=tests/data/tle.tle; names=tests/data/tle_names.txt; day=2021-01-18T00:00:00
tle() { leopod tle --tle "$@" --out states.csv; cut -d, -f1,4,5,7 states.csv 2> /dev/null | tail -n +2; rm -f states.csv; }
# a line with its checksum
sum() { awk '{ s = 0; for (i = 1; i <= 68; ++i) { c = substr($0, i, 1); s += c == "-" ? 1 : c + 0 } print substr($0, 1, 68) (s % 10) }'; }
# number, epoch, inclination, eccentricity (7 digits), revolutions a day
set_of() {
  printf '1 %5sU 21900A   %-14s  .00000100  00000-0  10000-4 0    10\n' "$1" "$2" | sum
  printf '2 %5s %8s  88.1234 %7s 211.5678 148.4321 %11s  1010\n' "$1" "$3" "$4" "$5" | sum
}

echo "# choices"
for choice in "--satno 95" "--satno 00095 90001" "--name polar" "--name MADE-UP* circle" "--satno 90013 --name CIRCLE" "--satno 0"; do echo "$choice"; tle $sets $choice --duration 0 | grep -v 'period\|frames\|files\|orientation\|elements'; done
{ echo "0 LATER, STILL"; set_of 90001 21028.5 97.4217 0012345 15.2; echo "nearer"; set_of 90001 21018.5 97.4217 0012345 15.2; set_of 90001 21013.5 97.4217 0012345 15.2; } > later.tle
for start in "" "--start 2021-01-23T11:00:00" "--start 2021-01-23T13:00:00" "--start 2021-01-16T01:00:00"; do tle later.tle --satno 90001 --duration 0 $start | grep -v 'frames\|files\|orientation'; done
tle later.tle $sets --names $names --name later,* --duration 120 --summary summary.json; tle later.tle --name "0 later, still" "nearer" --duration 60
for name in LATER "0 LATER" "later, still" "LATER, STILL*" "LATER, STILLS*"; do echo "$name"; leopod tle --tle later.tle --name "$name" --duration 0 | grep age; done

echo "# many objects, warnings"
for n in $(seq 21); do echo "OBJECT $n"; set_of $((100 + n)) 21018.5 80 0010000 $((10 + n % 6)).5; done > many.tle
tle many.tle --all --duration 0 | tail -n 26; head -n 60 many.tle > twenty.tle; tle twenty.tle --all --duration 0 | grep -c "age\|more"
{ set_of 1 21018.5 80 0000000 6.39; set_of 2 21018.5 80 0000000 6.40; set_of 3 21018.5 80 0000000 16.17; set_of 4 21018.5 80 0000000 16.19; } > edges.tle
tle edges.tle --all --duration 0 --summary summary.json | grep 'DEEP\|warning'; grep 'deep_space\|low_perigee\|perigee_km\|apogee_km\|period_min' summary.json
for span in "--duration 1209600" "--duration 1209660" "--start 2021-02-01T12:00:00 --duration 0" "--start 2021-02-01T12:00:10 --duration 0" "--start 2021-01-04T11:59:50 --duration 0" "--start 2021-01-04T12:00:00 --duration 1209600"; do tle twenty.tle --satno 101 --step 604800 $span | grep 'age\|span\|days'; done

echo "# what is an orbit"
for set in "21018.5 180.0 0000000 1.0" "21018.5 180.1 0000000 1.0" "21018.5 80 9999999 1.0" "21018.5 80 9999999 nan" "21018.5 80 0000000 0.0085" "21018.5 80 0000000 0.0087" "21018.5 80 0000000 17.0" "21018.5 80 0000000 17.1" "21018.5 80 2000000 19.99" "21018.5 80 2000000 20.0" "21018.5 80 9990000 1.0" "21018.5 80 0000000 0.0" "21018.5 80 0000000 -1.0" "56366.9 80 0000000 15.0" "57001.0 80 0000000 15.0" "21nan 80 0000000 15.0" "21018.5 nan 0000000 15.0" "21018.5 80 0000000 nan"; do
  set_of 7 $set > one.tle; echo "$set"; tle one.tle --duration 60 | grep 'none\|status\|age\|states:\|warning: [0-9]* states\|T'
done
{ cat later.tle; set_of 7 21018.5 190 0000000 15.0; } > mixed.tle; tle mixed.tle --satno 90001 --duration 0 | grep 'warning\|chosen'; tle mixed.tle --satno 7
{ sed -n '1,3p' later.tle; echo "1 90006U 21900F   20366.99999999  .00000200  00000-0  30000-3 0    60"; echo "2 90006  63.4349 200.0000 2500000 270.0000  90.0000  9.80000000  606"; echo "3 90006  63.4349 200.0000 2500000 270.0000  90.0000  9.80000000  6061"; } > lines.tle
tle lines.tle --all --duration 0 | grep 'warning\|chosen'
{ set_of 8 21018.5 42 0700000 15.2; set_of 9 21018.5 97 0000000 17.5; } > low.tle; tle low.tle --all --duration 172800 --step 21600 | grep 'warning\|states'

echo "# spans and steps, earth orientation"
for span in "--duration 0 --step 7" "--duration 89.9 --step 30" "--duration 90 --step 30" "--duration 0.3 --step 0.1" "--start $day --duration 60 --interval 60" "--from $day --to 86430 --step 43200" "--from 2021-01-18T12:00:00 --to 2021-01-18T12:01:00 --step 20" "--from 2021-01-18T12:00:00 --to 43260.2 --step 60"; do echo "$span"; tle later.tle --satno 90001 $span | grep -v 'leopod\|frames\|files\|orientation\|elements\|period'; done
for from in 2021-01-17T23:58:00 2021-01-19T00:00:00 2021-03-01T00:00:00; do leopod tle --tle later.tle --eop examples/data/demo_eop.txt --satno 90001 --from $from --to 86400 --step 43200 --out - 2>&1; leopod tle --tle later.tle --eop examples/data/demo_eop.txt --satno 90001 --start $from --duration 60 --out - 2>&1 | grep 'states\|outside'; done

echo "# refused"
all="$sets --all"
for options in none.tle "$names" "$sets" "$sets --satno 95 4711 90001" "$sets --name POLAR MISSING" "$sets --satno 95 --name MISSING" "$all --names none.txt" "$all --names $sets" "$all --eop-format c05 --eop $names" "$all --start 2021-13-01T00:00:00" "$all --start 1956-12-31T00:00:00" "$all --start 2057-01-01T00:00:00" "$all --from noon" \
  "$all --duration -1" "$all --duration 315619201" "$sets --satno 95 --duration 315619200 --step 315619200" "$all --to 3600" "$all --from $day --to 0" "$all --from $day --to 2031-01-20T00:00:00" "$all --from $day --duration 60" "$all --from $day --start $day" "$all --step 0.0009" "$all --step 0.001 --duration 1e8" "$sets --satno 95 --step 0.001 --duration 1e5" "$all --step 0.001 --duration 7692.307" "$all --out $sets" "$all --summary $sets"; do
  echo "$options"; leopod tle --tle $options | grep -v files | head -n 1
done
