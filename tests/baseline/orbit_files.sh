# Orbit files of a run, SP3 and OEM: velocities from neighbours, gaps, few neighbours, whole seconds, frames, times, names, the digits of both.
leopod propagate --epoch 2021-01-18T00:00:00 --frame eci --state 6890000 1000 0 0 -980 7543 --duration 5460 --dynamics examples/demo_orbit.cfg --eop examples/data/demo_eop.txt --out orbit.csv > /dev/null
nav="--nav tests/arc21/arc.nav.gz"
arc() { leopod simulate --orbit orbit.csv $nav --systems G --code-noise 0 --phase-noise 0 --clock-offset 5e-4 --no-group-delays --mask 5 --obs-out arc.obs "$@" > /dev/null; }
run() { leopod run --obs cut.obs $nav --eop examples/data/demo_eop.txt "$@" 2>&1 | grep -E '^leopod: |status|^note|^orbit at'; }
# metres beside a thousand and millimetres a second; standard deviations as powers
states() { awk 'function digits(x) { x *= 1e6; return sprintf(" %.3f", (x - 1e6 * int(x / 1e6)) / 1e3) } /^(P|V)[A-Z]/ { printf "%s", $1; for (i = 2; i < 5; i++) printf "%s", /^P/ ? digits($i) : sprintf(" %.1f", $i * 100)
  print " " substr($0, 47) } /^\*/ { print } /^20.*T/ { printf "%s", $1; for (i = 2; i < 8; i++) printf "%s", i < 5 ? digits($i) : sprintf(" %.1f", $i * 1e6); print "" }
  /^(META|START|STOP|INTERP|COV|TIME|REF)/ { print }' "$1"; }
cut_epochs() { awk '/^>/ { e++; out = '"$1"' } e && out { next } { print }' arc.obs > cut.obs; }
for interval in 15 15.5 60 60.5; do
  arc --start 2021-01-18T00:02:00 --interval $interval --duration $(awk "BEGIN { print 14 * $interval }"); cut_epochs 0
  echo "== $interval"; run --sp3-out all.sp3 --oem-out all.oem; states all.sp3 | awk '/^V/ { n++; if (n % 4 == 1 || n > 13) print }'; states all.oem | grep -e META -e START -e STOP -e INT
done
# blocks of 9, 5, 4, 1 and 6 epochs
arc --start 2021-01-18T00:02:00 --interval 30 --duration 900
cut_epochs 'e == 10 || e == 16 || e == 21 || e == 23'
for option in "" "--round"; do
  echo "== blocks $option"
  run --sp3-out blocks.sp3 --oem-out blocks.oem --object-name "TWO WORDS" --oem-time utc $option
  head -30 blocks.sp3; tail -1 blocks.sp3; states blocks.sp3 | awk 'NR > 30 && NR < 54'; states blocks.oem
done
# gaps of a second at epochs of half a second
arc --start 2021-01-18T00:02:00 --interval 0.5 --duration 16; cut_epochs 'e == 12 || e == 25 || e == 26'
run --oem-out half.oem --sp3-out half.sp3 --sp3-version d --satellite L09; states half.oem | tail -n +3; head -2 half.sp3
cut_epochs 0; run --oem-out half.oem --round; states half.oem | awk 'NR < 12 || NR > 38'
# without whole seconds
arc --start 2021-01-18T00:02:00.25 --interval 30 --duration 300; cut_epochs 0; run --oem-out quarter.oem --oem-frame gcrf; states quarter.oem | head -9; run --oem-out quarter.oem --round --sp3-out quarter.sp3; states quarter.sp3 | head -3
leopod run --obs cut.obs $nav --oem-out none.oem --oem-frame gcrf 2>&1 | grep -A1 ^leopod:
# the day that is written
SOURCE_DATE_EPOCH=1611014399 leopod run --obs cut.obs $nav --oem-out day.oem > /dev/null; grep CREATION day.oem | cut -c1-99
# names and choices
for option in "--oem-frame itrf2020" "--oem-frame ITRF14" "--oem-frame itrf201a" "--oem-frame GCRF" "--oem-frame itrf" "--object-id 2021-001A" "--object-id 2021-001ABC" "--object-id 2021-001ABCD" \
  "--object-id 2021-001" "--object-id 2021-01AA" "--object-id 2021-001a" "--object-id 2021_001A" "--object-id 202X-001A" "--object-name $(printf 'N%.0s' $(seq 240))" "--object-name $(printf 'N%.0s' $(seq 241))" \
  "--object-name Größe" "--satellite X99" "--satellite x99" "--satellite X9" "--satellite X999" "--satellite XA1"; do
  echo "== $option" | cut -c1-60; rm -f name.oem name.sp3; run $option --oem-out name.oem --sp3-out name.sp3 | cut -c1-120; test -f name.oem && grep -e OBJECT -e REF -e real name.oem | cut -c1-80 && sed -n '3p;/^P/{p;q}' name.sp3 | cut -c1-20
done
leopod run --obs cut.obs $nav --oem-out name.oem --object-name " A" | tail -1; leopod run --obs cut.obs $nav --oem-out name.oem --object-name "A " | tail -1; leopod run --obs cut.obs $nav --oem-out name.oem --object-name "$(printf 'A\tB')" | tail -1
