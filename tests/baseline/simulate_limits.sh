# What the simulation refuses, and what lies just inside of each limit.
awk 'BEGIN { print "mjd_gpst,sod_gpst,x_ecef_m,y_ecef_m,z_ecef_m"; for (t = 0; t <= 3000; t += 60) { u = t / 900; l = t / 13713
  printf "59232,%d,%.6f,%.6f,%.6f\n", t, 6.9e6 * cos(u) * cos(l), -6.9e6 * cos(u) * sin(l), 6.9e6 * sin(u) } }' > orbit.csv
nav=tests/arc21/arc.nav.gz
first="--nav $nav --systems G --duration 0"
sim() { leopod simulate --orbit orbit.csv --obs-out arc.obs "$@" 2>&1; }
# an option with values: what is said last of each
values() { option=$1; shift; for value; do echo "$option $value: $(sim $first $option $value | grep -E '^leopod: |^  ' || echo taken)"; done; }
values --interval 0.0099 0.01 86400 86400.1 nan
values --code-noise -0.1 1000 1000.1
values --phase-noise -0.01 10 10.01
values --clock-offset -0.1001 -0.1 0.1 0.1001
values --clock-drift -1.01e-4 -1e-4 1e-4 1.01e-4
values --clock-walk -1e-9 1e-4 1.01e-4
values --slip-rate -1 1000 1001
values --slip-size 0 1 1000000 1000001
values --tec -1 1000 1001 nan
values --shell-height 0 0.1 20000 20000.1
values --mask -0.1 0 71 90 89.9
values --channels 0 1 15 16
values --platform-z sideways up
values --yaw -360.1 -360 360 360.1
values --config examples/gnss_gps.cfg
for arc in "" "--clk $nav" "--nav $nav --clk x.clk" "--nav $nav --systems GE" "--nav $nav --systems R" "--nav $nav --duration -1" "--nav $nav --start 2021-01-18" \
  "--nav $nav --start 2021-01-17T23:59:59" "--nav $nav --start 2021-01-18T00:50:00 --duration 0" "--nav $nav --start 2021-01-18T00:50:00 --duration 1 --interval 1" \
  "--nav $nav --duration 3000" "--nav $nav --duration 3001" "--nav $nav --from 60 --to 61" "--nav $nav --from 120 --to 60" \
  "--nav $nav --start 1980-12-31T00:00:00" "--nav $nav --start 2100-01-01T00:00:00" "--nav tests/data/navigation2.nav" "--nav orbit.csv" \
  "--nav $nav --duration 0 --tec 1 --shell-height 528" "--nav $nav --duration 0 --tec 1 --shell-height 530" "--nav $nav --interval 600 --clock-offset 0.099 --clock-drift 2e-6" \
  "--nav $nav --satellite L01 --duration 0" "--nav $nav --duration 0 --oem-out a.oem --object-id 21-1"; do
  echo "$arc: $(sim $arc | grep -E '^leopod|status' | tail -2 | tr '\n' ' ')"
done
# slips
for slip in G07,0,L1,5 G30,60,L1 G30,60,L1,5,6 G30,60,L1,0 G30,60,L1,1.5 G30,60,L1,1000001 G30,60,L1,-1000000 G30,60,L9,5 G30,soon,L1,5 C21,60,L1,5 X1,60,L1,5 \
  G30,2021-01-18T00:01:00,L2,-7 G30,2021-01-18T00:01:00.5,L2,3 G30,30,L2,3 G30,601,L1,3 G30,29.9999999,L1,4 G30,-5,L1,4; do
  echo "$slip: $(sim --nav $nav --systems G --duration 600 --slip $slip --events-out events.csv | grep -E '^leopod: |^put in' ) $(grep ^slip events.csv)"; rm -f events.csv
done
# orbits
orbit() { echo "$1: $(leopod simulate --orbit other.csv --nav $nav --systems G --obs-out arc.obs 2>&1 | grep -E '^leopod|status|^orbit' | tr '\n' ' ')"; }
sed -n 1,12p orbit.csv > other.csv; orbit "eleven positions"
sed -n 1,13p orbit.csv > other.csv; orbit "twelve positions"
sed 20,23d orbit.csv > other.csv; orbit "a gap of 300 s"
sed 20,24d orbit.csv > other.csv; orbit "a gap of 360 s"
awk -F, 'NR == 20 { print last } { print; last = $0 }' orbit.csv > other.csv; orbit "a time twice"
sed 's/^59232/44244/' orbit.csv > other.csv; orbit "1980"
sed 's/^59232/44243/' orbit.csv > other.csv; orbit "1979"
sed 's/^59232/73049/' orbit.csv > other.csv; orbit "2058"
sed 's/^59232/73050/' orbit.csv > other.csv; orbit "behind it"
sed 's/_ecef/_gcrs/g' orbit.csv > other.csv; orbit "inertial"
sed 's/^mjd_gpst,sod_gpst/a,b/' orbit.csv > other.csv; orbit "no times"
# a million epochs, and one less
seq 0 60 10020 | awk 'BEGIN { print "mjd_gpst,sod_gpst,x_ecef_m,y_ecef_m,z_ecef_m" } { printf "59232,%d,%.6f,%.6f,0\n", $1, 6.9e6 * cos($1 / 900), 6.9e6 * sin($1 / 900) }' > other.csv
leopod simulate --orbit other.csv --nav $nav --systems G --interval 0.01 --duration 10000 --obs-out arc.obs
# first epochs: on the interval behind the orbit's first, or where they are asked for
sed '2s/,0,/,0.5,/' orbit.csv | sed 2d > other.csv
for option in "" "--interval 7" "--interval 60" "--start 2021-01-18T00:01:00.5" "--from 61 --to 120 --interval 20" "--from 61 --to 121 --interval 20" "--interval 0.7 --duration 1.4"; do
  leopod simulate --orbit other.csv --nav $nav --systems G $option --obs-out arc.obs --truth-out truth.csv | grep ^leopod
  tail -1 truth.csv | cut -d, -f1-5
done
