# Positions of each form: what is read, what is passed over, what is refused. The same circle at a radius of 7000 km everywhere, a step of
# 60 s is 0.06 rad; a difference to it is told in radial, along and cross.
say() { command leopod "$@" 2>&1; }
circle() { awk -v from="$1" -v to="$2" -v form="$3" 'BEGIN { for (i = from; i <= to; ++i) printf form, 60 * i, 7e6 * cos(0.06 * i), 7e6 * sin(0.06 * i), 1000 }'; }
{ echo time,x,y,z; circle 0 20 '%d,%.4f,%.4f,%.4f\n'; } > circle.csv
against() { say orbit --compare "$1" circle.csv | sed '/^leopod orbit:/d; /^ *rms/d'; }
csv() { echo "[$1]"; { printf "$1\n"; circle 0 20 "$2"; } > file.csv; against file.csv; }
csv 'sod,x,y,z' '%d,%.4f,%.4f,%.4f\n'
csv 'sod_gpst_2021_01_18,x_m,y_m,z_m' '%d,%.4f,%.4f,%.4f\n'
{ echo sod_gpst_2021_01_18,x,y,z; circle 0 20 '%d,%.4f,%.4f,%.4f\n'; } > circle.csv
csv 'sod_gpst_2021_01_18,x_m,y_m,z_m' '%d,%.4f,%.4f,%.3f\n'
csv 'mjd,sod,x,y,z' '59232,%d,%.4f,%.4f,%.4f\n'
awk 'BEGIN { print "y,z,x,epoch,mjd"; for (i = 0; i <= 20; ++i) printf "%.4f,1000,%.4f,x,%.8f\n", 7e6 * sin(0.06 * i), 7e6 * cos(0.06 * i), 59232 + i / 1440 }' > file.csv; against file.csv
awk 'BEGIN { print "# dates"; for (i = 1; i <= 20; ++i) printf "2021-01-17T24:00:%d.0,%.4f,%.4f,1000\n", 0, 7e6 * cos(0.06 * i), 7e6 * sin(0.06 * i) }' | head -n 2 > file.csv
awk 'BEGIN { for (i = 1; i <= 20; ++i) printf " 2021-018 00:%02d:00.0 , %.4f,%.4f,1000\n", i, 7e6 * cos(0.06 * i), 7e6 * sin(0.06 * i) }' >> file.csv; against file.csv
for scale in utc tai tt gpst; do
  { echo "sod_${scale}_2021_01_18,x,y,z"; circle 0 20 '%d.25,%.4f,%.4f,%.4f\n'; } > file.csv; echo "[$scale]"; against file.csv
done
{ echo x,y,z; circle 0 20 '%d,%.4f,%.4f,%.4f\n'; } > file.csv; against file.csv
refuse() { echo "[$1]"; printf "$1\n" > file.csv; say orbit --compare circle.csv file.csv; }
refuse 'mjd,x,y,z\n59232,7e6,0,1000'
refuse 'a,b,c\n1,2,3'
refuse 'time,x,y,z\n1,2,3,4\n2,3,4\n'
refuse 'time,x,y,z\n1,2,3,4\n2,,4,5\n3,1,,1\n\n# x\n,,\n'
refuse 'time,x,y,z\n1,2,3,4\n2,3,,x\n3,x,1,1\n'
refuse 'time,x,y,z\n1e9,2,3,4\n'
refuse 'time,x,y,z\n1000000001,2,3,4\n'
refuse 'mjd,sod,x,y,z\n10000001,1,2,3,4\n'
refuse 'time,x_km,y_km,z_km\n1,2,3,4'
refuse 'time,x_teme,y_teme,z_teme\n1,2,3,4'
refuse 'time,x_gcrs_m,y_gcrs_m,z_gcrs_m\n1,2,3,4'
refuse 'time,x_eci,y_eci,z_eci\n1,2,3,4'
refuse 'time,x,y,z\n2021-01-18T00:00:61,2,3,4'
refuse 'sod_gpst_2021_13_18,x,y,z\n1,7e6,0,1000\n2,7e6,0,1000\n2,7e6,1,1000\n'
refuse 'sod_gpst_2021_01_18,x,y,z\n2,7e6,0,1000\n2,7e6,0.6,1000.9\n1,7e6,0,1000\n'
refuse 'sod_gpst_2021_01_18,x,y,z\n2,7e6,0,1000\n2,7e6,0.6,999.2\n1,7e6,0,1000\n'
refuse '"sod_gpst_2021_01_18", "x","y", z\t\n  "2" ,"7e6","0", 1000 \n"3","7e6","""","1000"\n'
refuse '1,2,3\n'
refuse '\n# none\n'
refuse '1,7e6,0,1000\n61,7e6,0,1000\n121,7e6,0,1000\n'
echo "--- SP3"
sp3() { { printf "#cP2021  1 18  0  0  0.00000000      21 ORBIT IGb14 FIT TEST\n## 2141  86400.00000000    60.00000000 59232 0.0000000000000\n$1"; awk -v rows="$2" 'BEGIN { for (i = 0; i <= 20; ++i) { printf "*  2021  1 18  0 %2d  0.00000000\n", i
  for (k = split("L01 G05", name, " "); k > 0; --k) printf "P%s%14.6f%14.6f%14.6f%14.6f\n", name[k], 7e3 * cos(0.06 * i), 7e3 * sin(0.06 * i), k, 999999.999999; if (rows) printf "%s\n", rows } }'; printf "$3"; } > file.sp3; }
take() { echo "[$1|$2|$3]"; sp3 "$@"; against file.sp3; }
take '%%c L  cc GPS ccc cccc cccc cccc cccc ccccc ccccc ccccc ccccc\n' '' 'EOF\n'
take '%%c L  cc UTC ccc cccc cccc cccc cccc ccccc ccccc ccccc ccccc\n%%c L  cc TAI\n' '' ''
take '%%c L  cc TAI\n' '' 'EOF\n*  2021  1 18  1  0  0.0\nPL01 1 2 3\nPL01 1 2 3\n'
take '%%c L  cc ccc\n' 'PL01      0.000000      0.000000      0.000000' 'EOF\n'
take '%%c L  cc BDT\n' 'PL01 999999.999999 999999.999999 999999.999999' 'EOF\n'
for system in QZS IRN GAL BDS GLO XYZ '   '; do take "%%c L  cc $system\n" '' 'EOF\n' | head -n 3; done
take '' 'PL02   7000.000000   1000.000000      1.000000' 'EOF\n'
take '' '' "PL01   x\n"
take '' '' "VL01   x\n"
take '' '' "*  2021  1 18  0 61  0.0\n"
take '' '' "*  2021  1 18  0 20\n"
take '' '' "*  2021  1 18 20000 20 0\n"
take 'PL01   7000.000000      0.000000      1.000000\n' '' ''
{ head -n 2 file.sp3; printf '*  2021  1 18  0  0  0.0\n'; for k in {1..60}; do printf 'PG%02d   7000.0          0.0           1.0\n' $k; done; } > many.sp3; say orbit --compare many.sp3 circle.csv
printf '#eP\n' > file.sp3; against file.sp3
state() { echo "[$*]"; say propagate --dynamics examples/demo_orbit.cfg --duration 60 --out out.csv "$@" > said; grep -E '^(leopod:|state|epoch|span|start)|state' said; [ ! -f out.csv ] || { cut -d, -f 2-9 out.csv; rm out.csv; }; }
sp3 '' 'VL01 -10000.000000  69000.000000  20000.000000 999999.999999' 'EOF\n'
state --state file.sp3 --satellite L01
state --state file.sp3 --satellite L01 --epoch 2021-01-18T00:05:00
state --state file.sp3 --satellite L01 --epoch 2021-01-18T00:05:00.000002
state --state file.sp3 --satellite L01 --epoch 300
state --state file.sp3 --satellite G05
state --state file.sp3 --satellite E05
state --state file.sp3 --epoch 2021-01-19T00:00:00
sp3 '' 'VL01      0.000000      0.000000      0.000000' ''; state --state file.sp3
sp3 '' 'VL03      0.000000      0.000000      1.000000' ''; state --state file.sp3
printf 'vx_mps,vy_mps,vz_mps,x_m,y_m,z_m,sod_gpst_2021_01_18\n-1,7500,0.5,6890000,1,2,30\n-2,7500,0.5,6880000,1,2,60\n3,,4,6880000,1,2,90\n' > state.csv
for epoch in 30 60 90; do state --state state.csv --epoch $epoch; done
printf 'x_m,y_m,z_m,vy_mps,vz_mps,sod\n6890000,1,2,7500,1,30\n' > state.csv; state --state state.csv
