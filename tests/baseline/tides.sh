# Displacements: sites in both forms, scales of time, spans, series, limits; files of ocean loading.
eop="--eop examples/data/demo_eop.txt"; blq="--blq tests/data/ocean_loading.blq"; day=2021-01-18
tide() { leopod tide "$@" | grep -v 'leopod tide\|orientation\|planets'; }
echo "# sites and times"
for site in "--blh 57.3958 11.9264 45.5" "--xyz 3370658.6 711877.1 5349786.9" "--blh 90 0 0" "--blh -90 360 0" "--blh 0 -360 20300" "--blh 45 190 -200" "--xyz 0 0 -6356752"; do tide $site --epoch ${day}T06:00:00 $eop; done
for scale in gpst utc tai tt; do leopod tide --blh 57 11 45 --epoch ${day}T23:59:50.75 --time-scale $scale $blq --site "ONSALA 7213" $eop --out out/$scale.csv --summary $scale.json > said; head -n 1 said; grep 'up' said; done
for span in "--from ${day}T00:00:00 --to 7200 --interval 3600" "--from ${day}T12:00:00 --to ${day}T13:00:00 --interval 1800 --time-scale utc" "--from ${day}T12:00:00 --to ${day}T12:00:30" "--epoch ${day}T00:00:00 --duration 100" "--epoch ${day}T00:00:00 --duration 0.3 --interval 0.1" "--from ${day}T23:59:59"; do
  echo "$span"; leopod tide --blh 57 11 45 $span $eop --out series.csv | sed -n '1p;/m at/p'; cut -d, -f1-4,16- series.csv
done
leopod tide --blh -20 -70 3000 --epoch ${day}T00:00:00 --duration 86400 --interval 600 $blq --site "HILL, made up" $eop --summary summary.json | tail -n 12; grep -A 200 '"site"' summary.json | grep -v 'version\|commit' | head -n 80
echo "# orientation and its notes"
tide --blh 57 11 45 --epoch ${day}T00:00:00
for epoch in 2021-01-19T23:00:00 2021-02-03T00:00:00 1973-01-01T00:00:00 2098-12-30T00:00:00; do leopod tide --blh 57 11 45 --epoch $epoch $eop --duration 7200 2>&1 | grep 'tide\|orientation\|planets\|up'; done
echo "# ocean loading"
grep -n '^ *[A-Z]' tests/data/ocean_loading.blq | head -n 3
for site in "" ONSALA onsala "ONSALA 7213" NOWHERE; do tide --blh 57 11 45 --epoch ${day}T00:00:00 $blq --site "$site" | grep 'ocean\|up'; done
echo "# refused"
at="--epoch ${day}T00:00:00"; here="--blh 57 11 45"
for options in "$at" "$at $here --xyz 6378137 0 0" "$at --blh 57 11" "$at --blh 57 11 x" "$at --blh 90.1 0 0" "$at --blh -90.1 0 0" "$at --blh 0 360.1 0" "$at --blh nan 0 0" "$at --blh 0 0 21864" "$at --blh 0 0 21862" "$at --blh 0 0 -38136" "$at --blh 0 0 -38138" "$at --xyz 6340001 0 0" "$at --xyz 6339999 0 0" "$at --xyz inf 0 0" \
  "$here" "$here --from 2021-01-18" "$here --from 12" "$here --epoch noon" "$here --epoch 1972-12-31T23:59:59" "$here --epoch 2100-01-01T00:00:00" "$at $here --time-scale bdt" "$at $here --duration -1" "$at $here --duration nan" "$at $here --duration 34560001 --interval 1e7" "$at $here --duration 34560000 --interval 34.55" "$at $here --interval 0" "$at $here --interval -5" \
  "$here --from ${day}T00:00:00 --to 0" "$here --from ${day}T00:00:00 --to 34560100 --interval 86400" "$here --from ${day}T00:00:00 --to 100 --interval 0" "$here --from ${day}T00:00:00 --duration 5" "$at $here --site ONSALA" "$at $here $blq --site MISSING" "$at $here --blq none.blq" "$at $here --eop none.txt" "$at $here --jpl none.405" "$at $here --jpl examples/data/demo_eop.txt" "$at $here $eop --out examples/data/demo_eop.txt" "$at $here --out nowhere/x.csv"; do
  echo "$options"; leopod tide $options | grep 'up\|status'
done
for duration in 34560000; do leopod tide $here $at --duration $duration --interval 17280000 | tail -n 1; done
