# Residuals of laser ranges to a fitted orbit: each kind of session, point and correction, and what cannot serve.
printf '+Force_Models\nEarth_Gravity = YES 4\n-Force_Models\n+GENERAL_CONFIG\nIntegration_Step_Size = 40\nIntegration_Output_Interval = 20\n-GENERAL_CONFIG\n' > forces.cfg
eop="--eop examples/data/demo_eop.txt"
leopod propagate --epoch 2021-01-18T00:00:00 --frame eci --state 6890000 1000 0 0 -980 7543 --duration 3600 --dynamics forces.cfg $eop --out orbit.csv > /dev/null
# A station on the ellipsoid below row 100, a little beside; times of flight at each third row, of straight lines at the reflection: good to some metres.
awk -F, 'NR == 1 { for (i = 1; i <= NF; i++) at[$i] = i; next } { n = NR - 2; x[n] = $at["x_ecef_m"]; y[n] = $at["y_ecef_m"]; z[n] = $at["z_ecef_m"] }
  END { e2 = 0.00669437999; l = atan2(y[100], x[100]) + 0.03; b = atan2(z[100], sqrt(x[100]^2 + y[100]^2)); N = 6378137 / sqrt(1 - e2 * sin(b)^2)
    X = (N + 200) * cos(b) * cos(l); Y = (N + 200) * cos(b) * sin(l); Z = (N * (1 - e2) + 200) * sin(b)
    printf "name,cdp,x_m,y_m,z_m,vx_mpy,vy_mpy,vz_mpy,epoch\nTEST,7777,%.4f,%.4f,%.4f,0.02,-0.01,0.015,2010.5\nPLAIN,,%.4f,%.4f,%.4f,,,,\n", X, Y, Z, X + 1, Y, Z > "stations.csv"
    for (n = 79; n <= 121; n += 3) { r = sqrt((x[n] - X)^2 + (y[n] - Y)^2 + (z[n] - Z)^2); printf "%d %.12f\n", n * 20 - 18, 2 * r / 299792458 > "flights.txt" } }' orbit.csv
# station, day, end of H4, C0 or a blank, weather or a blank, event, seconds that the epoch is beside the reflection by the time of flight
session() {
  printf 'H2 %s 34 02 4 NET\nH3 made 1 2 3 0 1 1\n' "$1"
  test -z "$2" || printf 'H4 1 2021 01 %s 00 00 00 2021 01 %s 04 00 00 %s\n' "$2" "$2" "$3"
  test -z "$4" || echo "$4"
  awk -v event="$6" -v beside="$7" '{ printf "11 %.12f %.12f std %d 5 10 60 na na na na 0 na\n", $1 + beside * $2, $2, event }' flights.txt
  test -z "$5" || printf "$5"
  echo H8
}
weather='20 1500 1000.0 290.0 40 0\n20 2400 1010.0 280.0 80 0\n'
color="C0 0 532.0 std"
{
  echo "H1 CRD 2 2021 01 19 00"
  session "TEST 7777" 18 "0 0 0 1 1 0 2 0" "$color" "$weather" 1 0
  session "TEST 7777" 18 "0 1 0 1 1 0 2 0" "" "" 2 -0.5
  session "test 7777" 18 "0 1 1 1 1 0 2 0" "" "" 0 0.5
  session "Plain 99" 18 "0 0 1 1 1 0 2 1" "C0 0 1064.0 std" "20 2000 900.0 270.0 100 0\n" 1 0
  session "NOWHERE 1111" 18 "0 1 0 1 1 0 2 0" "" "" 1 0
  session "TEST 7777" 19 "0 1 0 1 1 0 2 0" "" "" 1 0
  session "TEST 7777" "" "" "" "" 1 0
  session "TEST 7777" 18 "0 1 0 1 1 0 1 0" "" "" 1 0
  session "TEST 7777" 18 "0 1 0 1 1 0 2 2" "" "" 1 0
  session "TEST 7777" 18 "0 1 0 1 0 0 2 0" "" "" 1 0
  session "TEST 7777" 18 "0 0 0 1 1 0 2 0" "C0 0 199.0 std" "$weather" 1 0
  session "TEST 7777" 18 "0 0 0 1 1 0 2 0" "$color" "" 1 0
  session "TEST 7777" 18 "0 1 0 1 1 0 2 0" "" "" 3 0
  echo H9
} > made.crd
fit() { leopod fit --positions orbit.csv --dynamics forces.cfg $eop --crd "$@" 2>&1 | sed -n '/^laser/,/written/p; /^leopod: /p; /^status/p'; }
fit made.crd --stations stations.csv --reflector-offset 0.5,-0.2,0.3 --crd-out out/laser.csv --summary summary.json
sed -n '/"laser/,/}/p' summary.json
fit made.crd --stations stations.csv
awk -F, 'NR == 1 || $1 == "TEST" { print }' stations.csv | sed 's/,7777,/,7778,/' > other.csv; fit made.crd --stations other.csv
fit made.crd --stations stations.csv --crd-target nobody; fit made.crd --stations stations.csv --crd-target 1 | tail -1; fit made.crd; fit orbit.csv --stations stations.csv; fit made.crd --stations orbit.csv
# the mask of five degrees, every second
for t in $(seq 1690 1720); do echo "$t 0.0143"; done > flights.txt
{ echo "H1 CRD 2 2021 01 19 00"; session "TEST 7777" 18 "0 1 0 1 1 0 2 0" "" "" 1 0; echo H9; } > low.crd; fit low.crd --stations stations.csv --crd-out low.csv; cut -d, -f5,6,7,9 low.csv | head -4
