# Laser ranging: the days of records by their headers, records that can't be read, and the residuals of normal points to an orbit.
crd() { echo "[$1]"; printf "$2" > file.crd; command leopod crd file.crd --out table 2>&1 | grep -E '^leopod: |normal points|full rate|without|ranges|^failed|^passed|^lines|session [0-9]'; cut -d, -f 1,2,7,8 table/11.csv | sed 1d; [ $# = 2 ] || cut -d, -f "$3" table/$4.csv; rm -rf table; }
head='H1 CRD 2 2021 01 27 09\nH2 TEST 7000 34 02 4 NET\nH3 sphere 7603901 1155 8820 0 1 1\n'
h4() { printf 'H4 1 %s %s 0 0 0 0 1 0 2 0\\n' "$1" "$2"; }
points() { for second in "$@"; do printf '11 %s 0.05 std 2 120 10 60 na na na 5 0 na\\n' $second; done; }
none='na na na na na na'
crd 'a pass over midnight' "$head$(h4 '2021 01 26 23 55 51' '2021 01 27 00 34 18')$(points 86151 86399.9999999 0.25 2058)H8\nH9\n"
crd 'without an end' "$head$(h4 '2021 01 26 23 55 51' "$none")$(points 86151 86399 10 5 86000 9 700)H8\n"
crd 'three days' "$head$(h4 '2021 02 27 12 00 00' '2021 03 02 12 00 00')$(points 43200 86399 1 80000 5 43199 50000 40000)H8\n"
crd 'a little out of order' "$head$(h4 '2021 12 31 23 00 00' '2022 01 01 01 00 00')$(points 86399 1 85900 300 85500 85300)H8\n"
crd 'an end before the start' "$head$(h4 '2021 01 26 23 55 51' '2021 01 26 22 34 18')$(points 86151 0.25)H8\n"
crd '32 days' "$head$(h4 '2021 01 01 00 00 00' '2021 02 02 00 00 00')$(points 10 86000 10)H8\n"
crd '32 days and a second' "$head$(h4 '2021 01 01 00 00 00' '2021 02 02 00 00 01')$(points 10 86000 10)H8\n"
crd 'a leap second' "$head$(h4 '2016 12 31 23 59 60' '2017 01 01 00 10 00')$(points 86400.5 86399.9999999999 86401 86400.9999 1 -1)H8\n"
for start in '1949 12 31 00 00 00' '1950 01 01 00 00 00' '2099 12 31 00 00 00' '2100 01 01 00 00 00' '2021 02 29 00 00 00' '2021 01 26 24 00 00' '2021 01 26 23 60 00' '2021 01 26 23 58 60' '2021 01 26 23 59 60' '2021 01 26 23 59 61' '2021 01 26 -1 00 00' '2021 01 26 00 -1 00' '2021 01 26 00 00 -1'; do
  echo "[$start]"; printf "$head$(h4 "$start" "$none")$(points 600)" > start.crd; command leopod crd start.crd 2>&1 | grep -E 'normal|ranges|without'
done
crd 'no header' "$head$(points 10)"
crd 'headers behind one another' "${head}h4 1 2021 01 26 10 00 00 2021 01 26 11 00 00 0 0 0 0 1 0 2 0\n$(points 36000)H4 1 2021 01 26 12 00 00 2021 01 26 13 00 00 0 0 0 0 1 0 2 0\n$(points 43200)h2 OTHER 7001 34 02 4 NET\n$(points 43300)"
crd 'two files in one' "$head$(h4 '2021 01 26 10 00 00' '2021 01 26 11 00 00')$(points 36000)H8\nH9\nH1 CRD 1 2021 01 27 09\nH2 TEST       7825 90 01  4\nH3 sat        0003902 8002   026405 0 1\nH4  0 2021 01 26 12 55 41 2021 01 26 13 04 48  0 0 0 0 1 0 2 0\n11 46541.0 0.0036 IDAA 2 30.0 42 217.0 0.1 0.2 0.3 5.4 0\nH8\nH9\n"
crd 'a version that is none' "$head$(h4 '2021 01 26 10 00 00' '2021 01 26 11 00 00')$(points 36000)H1 CRD 3 2021 01 27 09\n$(points 36010)"
for first in 'H1 CRD 0' 'H1 CRD 3 2021' 'H1 CRD na 2021' 'H1 CRD x' 'H1 CRD' 'H1 XXX 1' '00 comment\n\n\t h1\tcrd 2 2021 01 27 09\r' 'H2 x'; do echo "[$first]"; printf "$first\n" > first.crd; command leopod crd first.crd 2>&1 | head -n 4; done
crd 'records that are none' "$head$(h4 '2021 01 26 10 00 00' '2021 01 26 11 00 00')11 x 0.05 std 2\n11 36000 na std 2 120 10 60 na na na 5 0 na\n11 na 0.05 std 2 120 10 60 na na na 5 0 na\n11\nXX unknown\n\n9 x\n12 36000.5 std 20735.0 0.2510 0.00 na\n20 36000 956.42 273.00 67.1 1\n21 36000 3.1 45 \"fog, thick\" 20 na 3 10 290.45\n30 36000 326.8923 32.9177 0 1 1 na na\n"
echo "--- residuals to an orbit"
printf '+Force_Models\nEarth_Gravity = YES 4\n-Force_Models\n+GENERAL_CONFIG\nIntegration_Step_Size = 60\nIntegration_Output_Interval = 60\n-GENERAL_CONFIG\n' > forces.cfg
command leopod propagate --state 6890e3 0 0 0 -980 7543 --frame eci --epoch 2021-01-18T00:00:00 --to 3000 --interval 60 --dynamics forces.cfg --eop examples/data/demo_eop.txt --out orbit.csv > /dev/null
awk -F, 'NR == 2 || NR == 22 || NR == 42 { r = sqrt($4^2 + $5^2 + $6^2); printf "%s,%.3f,%.3f,%.3f\n", 7000 + n++, $4 / r * 6378137 * (1 - sin(atan2($6, sqrt($4^2 + $5^2)))^2 / 298), $5 / r * 6378137 * (1 - ($6 / r)^2 / 298), $6 / r * 6378137 * (1 - ($6 / r)^2 / 298) }' orbit.csv > places
{ echo cdp,x_m,y_m,z_m; cat places; } > stations.csv
session() { awk -F, -v cdp=$1 -v weather="$2" -v event="${3:-2}" 'NR == FNR { if ($1 == cdp) { x = $2; y = $3; z = $4 } next } FNR > 1 { s = $3; r = sqrt(($4 - x)^2 + ($5 - y)^2 + ($6 - z)^2); if (r < 1.5e6) { utc = s - 18; if (utc < 0) utc += 86400
  if (!n++) { printf "H2 PLACE %s 34 02 4 NET\nH3 sphere 7603901 1155 8820 0 1 1\nH4 1 2021 01 %d %d %d %d na na na na na na 0 0 0 0 1 0 2 0\nC0 0 532.000 std\n%s", cdp, (utc > 80000 ? 17 : 18), utc / 3600, utc % 3600 / 60, utc % 60, weather; }
  printf "11 %.7f %.12f std %s 120 10 60 na na na 5 0 na\n", utc, 2 * r / 299792458, event } } END { print "H8" }' places orbit.csv; }
weather='20 86390 956.42 273.00 67.1 1\n20 100 900.0 283.00 40 1\n20 1182 1000 290 10 1\n20 2382 1000 290 10 1\n'
points() { { echo 'H1 CRD 2 2021 01 27 09'; for cdp in ${2:-7000 7001 7002}; do session $cdp "$weather"; done; } | sed "${1:-}"; }
points > all.crd
laser() { echo "[$1]"; shift; command leopod fit --positions orbit.csv --dynamics forces.cfg --eop examples/data/demo_eop.txt --interval 120 --antenna-offset 0,0,0 --stations stations.csv --crd-out laser.csv "$@" 2>&1 | sed -n '/^leopod: /p;/laser/,/^[a-z]* written/p' | grep -v 'written\|^leopod fit\|^mess\|^  sess'; [ ! -f laser.csv ] || { cut -d, -f 5- laser.csv | awk 'NR == 4 || NR == 12'; rm laser.csv; }; }
laser 'as it is' --crd all.crd
laser 'one station' --crd <(points '/^H2 PLACE 700[12]/,/^H8/d')
laser 'times of transmission' --crd <({ echo 'H1 CRD 2 2021 01 27 09'; session 7001 "$weather" 1; })
laser 'times at the middle' --crd <({ echo 'H1 CRD 2 2021 01 27 09'; session 7001 "$weather" 0; })
laser 'no weather' --crd <({ echo 'H1 CRD 2 2021 01 27 09'; session 7001 ''; })
for change in '/^C0/d' 's/^C0 0 532/C0 0 na/' 's/^C0 0 532.000 std/C0 0 532 other/' 's/^C0.*/&\nC0 0 1064 other/' 's/ std 2 / std 3 /' 's/ std 2 / std na /' '/^11/s/\(^11 [^ ]*\) [^ ]*/\1 na/' '/^11/s/\(^11 [^ ]*\) [^ ]*/\1 -0.01/' 's/^20 \([^ ]*\) [^ ]*/20 \1 300/' 's/^20 \([^ ]*\) [^ ]*/20 \1 301/' 's/^20 \([^ ]*\) [^ ]*/20 \1 1200/' \
  's/^\(20 [^ ]* [^ ]*\) [^ ]*/\1 180/' 's/^\(20 [^ ]* [^ ]*\) [^ ]*/\1 340/' 's/^\(20 .*\) [0-9.]* 1$/\1 120 1/' 's/^\(20 .*\) [0-9.]* 1$/\1 -5 1/' '/^20/s/ 956.42/ na/' '/^20 1182/d' '/^20 [129][0-9][0-9][0-9]/d' '/^H4/d' 's/^H3 sphere 7603901 1155 8820/H3 cube 103 1 na/' 's/ 7001 34/ 7009 34/' 's/^11 /10 /'; do
  laser "$change" --crd <(points "$change" 7001) | sed 2d
done
{ points; session 7001 "$weather" | sed 's/sphere 7603901 1155 8820/cube 103 1 77/'; } > two.crd
laser 'two targets' --crd two.crd
for target in sphere CUBE 7603901 77 103 8820 1155; do laser "$target" --crd two.crd --crd-target $target | sed 2q; done
laser 'offset of the reflector' --crd all.crd --reflector-offset 1,0,0
laser 'twice' --crd all.crd all.crd
echo "--- stations"
stations() { echo "[$1]"; printf "$1\n" > stations.csv; command leopod fit --positions orbit.csv --dynamics forces.cfg --interval 120 --antenna-offset 0,0,0 --stations stations.csv --crd all.crd 2>&1 | grep -E '^(leopod: |laser)'; }
line=$(sed -n 2p places | cut -d, -f 2-)
stations 'name,x_m,y_m,z_m'
stations 'x_m,y_m,z_m\n1,2,3'
stations 'cdp,x_m,y_m\n1,2,3'
stations "cdp,x_m,y_m,z_m\n7001.5,$line"
stations "cdp,x_m,y_m,z_m\n-1,$line"
stations "cdp,x_m,y_m,z_m\n1000001,$line"
stations "cdp,x_m,y_m,z_m\n,$line"
stations "cdp,name,x_m,y_m,z_m\n,place,$line"
stations "name,x_m,y_m,z_m\nPlace,$line\nPLACE,$line"
stations "cdp,x_m,y_m,z_m\n7001,$line\n7001,$line"
stations 'cdp,x_m,y_m,z_m\n7001,6340000.1,0,0\n7002,6399999,0,0\n7003,0,0,6400001'
stations 'cdp,x_m,y_m,z_m\n7001,6339999,0,0'
stations "cdp,x_m,y_m,z_m,vx_mpy,vy_mpy,vz_mpy,epoch\n7001,$line,0.5,0.5,0.5,2010.0"
stations "cdp,x_m,y_m,z_m,vx_mpy,vy_mpy,vz_mpy,epoch\n7001,$line,0.6,0.6,0.6,2010.0"
stations "cdp,x_m,y_m,z_m,vx_mpy,vy_mpy,vz_mpy,epoch\n7001,$line,0.5,0.5,0.5,"
stations "cdp,x_m,y_m,z_m,vx_mpy,vy_mpy,vz_mpy,epoch\n7001,$line,0.5,0.5,x,2010.0"
for epoch in 1950 1950.1 2099.9 2100 x; do stations "cdp,x_m,y_m,z_m,vx_mpy,vy_mpy,vz_mpy,epoch\n7001,$line,,,,$epoch"; done
