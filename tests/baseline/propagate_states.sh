# States to start from, in all forms, frames and scales; arcs and rows by their options; what is refused, and orbits that end early.
forces() { printf '+Force_Models\nEarth_Gravity = YES 4\n%s-Force_Models\n+GENERAL_CONFIG\nIntegration_Step_Size = 60\nIntegration_Output_Interval = %s\n-GENERAL_CONFIG\n' "$@"; }
forces "" 60 > plain.cfg
forces "Empirical_Force = YES A0:1200
" 60 > pieces.cfg
eop="--eop examples/data/demo_eop.txt"
cfg=plain.cfg
go() { leopod propagate --dynamics $cfg "$@" 2>&1 | grep -v -e ^earth -e ^planets -e ^messages -e written: -e ^integr -e ^forces; }
fixed="-3156973.2893 -6124167.2453 13875.4578 -848.7 438.9 7543.0"
go $eop --epoch 2021-01-18T00:00:00 --state $fixed --duration 1200 --out orbit.csv --sp3-out orbit.sp3 --oem-out orbit.oem --satellite L12 --summary out/fixed.json
go $eop --epoch 2021-01-18T00:00:00 --frame eci --state 6890000 1000 0 0 -980 7543 --to 1200 --interval 30 --truth orbit.csv --out inertial.csv
cfg=pieces.cfg; for scale in utc tai tt gpst; do go $eop --time-scale $scale --epoch 2021-01-18T00:00:00 --state $fixed --to 2021-01-18T00:10:00; done; cfg=plain.cfg
go --epoch 2021-01-18T00:00:00 --frame eci --state 6890000 1000 0 0 -980 7543 --duration 600
# the same state from files, at its first epoch or another
for state in orbit.csv orbit.sp3 orbit.oem "inertial.csv --frame eci"; do
  for epoch in "" "--epoch 600" "--from 2021-01-18T00:10:00" "--epoch 601"; do echo "== $state $epoch"; go $eop --state $state $epoch --duration 300 --truth orbit.csv; done
done
go $eop --state orbit.sp3 --satellite L13 --duration 60; go $eop --state orbit.csv --epoch 600 --to 660; go $eop --state orbit.csv --epoch 600 --to 600
cut -d, -f1-6 orbit.csv > positions.csv; go $eop --state positions.csv --duration 60
echo "== lengths and spacings"
for option in "--duration 0" "--duration -1" "--duration 34560001" "--duration nan" "--to 2021-01-17T23:59:00" "--to 2023-01-18T00:00:00" "--to soon" "--duration 30" "--duration 60" "--duration 61" "--duration 120 --interval 0.5" \
  "--interval 0" "--rows-interval 0" "--rows-interval -1" "--duration 961 --rows-out rows.txt" "--duration 959 --rows-out rows.txt" "--duration 961 --rows-out rows.txt --rows-interval 601" "--duration 961 --rows-out rows.txt --rows-interval 30"; do
  rm -f rows.txt; echo "$option: $(go $eop --epoch 2021-01-18T00:00:00 --state $fixed $option | tr '\n' ' ')"; test -f rows.txt && wc -l < rows.txt
done
awk -F, '{ printf "%s", $1; for (i = 4; i < 16; i++) printf " %.4f", $i * (i > 9 ? 1e3 : 1); print "" }' rows.txt
echo "== states"
for state in "6399999 0 0 0 7600 0" "6400001 0 0 0 7900 0" "1000000001 0 0 0 10 0" "999999999 0 0 0 631.0 0" "999999999 0 0 0 900 0" "6890 0 0 0 7.6 0" "6378137 0 0 0 7905 0" "6890000 0 0 0 10757 0" "6890000 0 0 0 10756 0" \
  "6890000 0 0 0 6111 0" "6890000 0 0 0 6113 0" "6890000 0 0 0 0 0" "6890000 0 0 0 7600" "6890000 0 0 0 7600 x" "6890000 0 0 0 7600 0 0" "6890000 0 0 0 7000 0"; do
  echo "$state: $(go $eop --frame eci --epoch 2021-01-18T00:00:00 --state $state --duration 1800 | tr '\n' ' ')"
done
go $eop --state $fixed; go $eop --epoch 1972-12-31T23:59:59 --state $fixed; go $eop --epoch 1973-01-01T00:00:00 --state $fixed; go $eop --epoch 2021-01-18 --state $fixed; go --epoch 2021-01-18T00:00:00 --state $fixed --frame xyz
go $eop --epoch 2021-01-18T00:00:00 --state $fixed --time-scale glonass; cfg=none.cfg; go $eop --epoch 2021-01-18T00:00:00 --state $fixed; cfg=plain.cfg; go $eop --state $fixed --epoch 2021-01-18T00:00:00 --truth orbit.csv --duration 3000
sed 's/Size = 60/Size = 400/' plain.cfg > coarse.cfg; cfg=coarse.cfg; go $eop --epoch 2021-01-18T00:00:00 --state $fixed --duration 1200
