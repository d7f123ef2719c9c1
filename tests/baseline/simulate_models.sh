# The models of the simulation, each by itself: what it changes in observations without noise.
awk 'BEGIN { print "mjd_gpst,sod_gpst,x_ecef_m,y_ecef_m,z_ecef_m"; for (t = -600; t <= 4200; t += 60) { u = t / 900 + 0.3; l = t / 13713 - 1
  printf "%d,%d,%.6f,%.6f,%.6f\n", 59232 - (t < 0), t + 86400 * (t < 0), 6.9e6 * cos(u) * cos(l), -6.9e6 * cos(u) * sin(l), 6.9e6 * sin(u) } }' > orbit.csv
printf '+GNSS_SYS\nGPS 6 C1P L1P C2P L2P C5Q L5Q IF 0 2 1 3\nBDS 6 C2I L2I C6I L6I C7I L7I IF 0 2 1 3\n-GNSS_SYS\n' > three.cfg
printf '+GNSS_SYS\nBDS 6 C1P L1P C5P L5P C8X L8X IF 0 2 1 3\nGPS 4 L5Q C2W C5Q L2W IF 1 2 3 0\n-GNSS_SYS\n' > other.cfg
# two geostationary satellites; one record unhealthy, one satellite without another; ages of the records
zcat tests/arc21/arc.nav.gz | sed 's/^C06/C01/; s/^C09/C59/; s/^C37/C63/' | awk '/^[CG]/ { name = $1; n = 0 } { n++ }
  n == 7 && name ~ /^G0[1-5]$/ && ++count[name] == 2 { $0 = substr($0, 1, 23) " 1.000000000000D+00" substr($0, 43) } { print }' > mixed.nav
quiet="--nav mixed.nav --code-noise 0 --phase-noise 0 --mask 0"
sim() { leopod simulate --orbit orbit.csv --obs-out arc.obs $quiet "$@"; }
# Values beside a thousand metres or cycles; with a second file what it has more than the first.
digits() { awk 'FNR == 1 { f++; body = 0 } /^>/ { body = 1; at = $5 $6 int($7); if (f == ARGC - 1) print } !body || /^>/ { next }
  { id = substr($0, 1, 3); for (i = 1; i < 7; i++) { v = substr($0, 4 + 16 * (i - 1), 14)
    if (f == ARGC - 1 && v != "") line = line sprintf(" %.3f", f == 1 ? v - 1000 * int(v / 1000) : v - old[at, id, i]); old[at, id, i] = v } }
  f == ARGC - 1 { print id line; line = "" }' "$@"; }
sim --config three.cfg --start 2021-01-18T00:00:00 --duration 3600 --interval 1800 --no-wind-up --no-group-delays --channels 10
mv arc.obs plain.obs
digits plain.obs
for option in "--no-group-delays" "--no-wind-up" "--no-group-delays --yaw 75" "--no-group-delays --no-wind-up --tec 25 --shell-height 600" \
  "--no-group-delays --no-wind-up --clock-offset 1e-6 --clock-drift 1e-9"; do
  echo "== $option"
  sim --config three.cfg --start 2021-01-18T00:00:00 --duration 3600 --interval 1800 --channels 10 $option > /dev/null
  digits plain.obs arc.obs | cut -d' ' -f1-5
done
sim --config other.cfg --start 2021-01-17T23:55:00 --duration 600 --interval 300 --channels 6 --truth-out out/truth.csv --events-out out/events.csv
digits arc.obs
# slips at random, two of three of them on one band; jumps of a clock that drifts and walks
leopod simulate --orbit orbit.csv --obs-out arc.obs --nav mixed.nav --systems GC --start 2021-01-18T00:10:00 --duration 600 --interval 20 --seed 11 --slip-rate 8 --slip-size 4 --clock-offset 4e-4 --clock-drift 3e-6 \
  --clock-walk 1e-5 --clock-jumps --channels 9 --mask 20 --events-out events.csv --truth-out truth.csv | grep -e ^put -e ^rec
grep -v ^pass events.csv; cut -d, -f1-5 truth.csv
# the ages at which records serve
awk 'BEGIN { print "mjd_gpst,sod_gpst,x_ecef_m,y_ecef_m,z_ecef_m"; for (t = 6600; t <= 15000; t += 60) { u = t / 900; l = t / 13713
  printf "59232,%d,%.6f,%.6f,%.6f\n", t, 6.9e6 * cos(u) * cos(l), -6.9e6 * cos(u) * sin(l), 6.9e6 * sin(u) } }' > late.csv
for span in "C --start 2021-01-18T01:59:00" "G --start 2021-01-18T03:59:00"; do
  leopod simulate --orbit late.csv --obs-out arc.obs $quiet --systems $span --duration 75 --interval 15 --truth-out truth.csv | grep -E '^sat|^note|status'
  cut -d, -f1,15 truth.csv; grep -v '^[A-Z]' arc.obs | grep '>'
done
# records whose reference time lies in the week behind or before that of their clock
awk '!body { print; body = /END OF HEADER/; next } /^[CG]/ { keep = /^G.*2021 01 18 00 00 00/; n = 0; odd = substr($1, 3) % 2 } keep { n++
  if (n == 1) sub("2021 01 18 00 00 00", odd ? "2021 01 16 23 59 44" : "2021 01 17 00 00 00"); if (n == 4) $0 = "     " (odd ? "0.000000000000D+00" : "6.047840000000D+05") substr($0, 24); print }' mixed.nav > week.nav
awk -F, 'NR > 1 { sub(/^[0-9]+/, $1 - 1) } { print }' OFS=, orbit.csv > sunday.csv
leopod simulate --orbit sunday.csv --obs-out arc.obs --nav week.nav --code-noise 0 --phase-noise 0 --start 2021-01-17T00:10:00 --duration 0 --channels 8 | grep -e ^nav -e ^sat; digits arc.obs
# what is not simulated
for types in 'GPS 5 C1C L1C C2W L2W D1C IF 0 2 1 3' 'GPS 5 C1C L1C C2W L2W C8X IF 0 2 1 3' 'GPS 8 C1C L1C C2W L2W C5Q L5Q C8X L8X IF 0 2 1 3' 'GAL 4 C1C L1C C5Q L5Q IF 0 2 1 3' \
  'BDS 8 C1P L1P C5P L5P C6I L6I C7I L7I IF 0 2 1 3'; do
  printf '+GNSS_SYS\n%s\n-GNSS_SYS\n' "$types" > some.cfg; sim --config some.cfg --duration 0 2>&1 | grep -A1 ^leopod:
done
# attitudes: each of the four ways to a quaternion, in millionths
for option in "" "--platform-z up" "--yaw 100" "--platform-z up --yaw -170"; do
  echo "== $option"
  sim --systems G --start 2021-01-18T00:00:00 --duration 3000 --interval 600 --att-out attitude.txt $option > /dev/null
  awk 'NR % 9 == 1 { printf "%s %s", $1, $2; for (i = NF - 3; i <= NF; i++) printf " %.2f", 1e6 * $i; print "" }' attitude.txt
done
# precise products
zcat examples/data/grace_b/cod15942_excerpt.sp3.gz > orbits.sp3
awk 'NR == 1 { print } NR > 1 { split($0, f, ","); t = f[2] + (f[1] - 59231) * 86400 - 86400 + 7200; sub(/^[^,]*,[^,]*/, "55404," t); print }' orbit.csv > early.csv
quiet="--sp3 orbits.sp3 --code-noise 0 --phase-noise 0 --mask 0"
leopod simulate --orbit early.csv --obs-out arc.obs $quiet --start 2010-07-27T01:57:30 --interval 450 --duration 900 --channels 8 --no-wind-up --truth-out out/early.csv
digits arc.obs
