# Arcs of positions that give no orbit, or one that isn't worth it, with the reason; each limit from both sides.
forces() { printf '+Force_Models\nEarth_Gravity = YES 4\n%s-Force_Models\n+GENERAL_CONFIG\nIntegration_Step_Size = 60\nIntegration_Output_Interval = %s\n-GENERAL_CONFIG\n' "$@"; }
forces "" 60 > plain.cfg
forces "Empirical_Force = YES A0:1200
" 60 > pieces.cfg
eop="--eop examples/data/demo_eop.txt"
leopod propagate --epoch 2021-01-18T00:00:00 --frame eci --state 6890000 1000 0 0 -980 7543 --duration 12060 --dynamics plain.cfg $eop --out orbit.csv > /dev/null
# rows with x y z of the celestial frame, and a change of them by row n
rows() { awk -F, -v scale="${2:-1}" 'NR == 1 { for (i = 1; i <= NF; i++) at[$i] = i; print "epoch_gpst,x,y,z"; next }
  { n = NR - 2; x = $at["x_gcrs_m"]; y = $at["y_gcrs_m"]; z = $at["z_gcrs_m"]; '"$1"'; printf "%s,%.4f,%.4f,%.4f\n", $1, x * scale, y * scale, z * scale }' orbit.csv > rows.csv; }
fit() { leopod fit $eop --frame eci --positions rows.csv "$@" 2>&1 | grep -E '^leopod: |status|reason|^conv|^NOT|^positions used|^  out|^antenna|^res|^  none|^  fitted|^note'; }
echo "-- few positions"
for n in 18 19; do rows "if (n > $n) next"; fit --dynamics plain.cfg; done
rows ""; for to in 1020 1021 1080 1081; do echo $to; fit --dynamics plain.cfg --to $to; done
rows "n = n * 50; if (n > 1000) next; \$1 = sprintf(\"2021-01-18T00:%02d:%02d\", int(n / 60), n % 60); x = 6890000 * cos(n / 900); y = 0; z = 6890000 * sin(n / 900)"
for n in 60; do fit --dynamics plain.cfg; done
echo "-- outliers: a stretch, its length at the limit; half of the positions"
for stretch in 90 95; do rows "if (n > 160) next; if (n >= 30 && n <= 30 + $stretch) { if (n % 5) next; x += 3000 + n }"; fit --dynamics plain.cfg; done
for part in 8 10; do rows "if (n > 60) next; if (n % 20 < $part) y += 500 * (n % 3 - 1) + 200"; fit --dynamics plain.cfg; done
echo "-- residuals that no orbit leaves"
for size in 400 430; do rows "if (n > 40) next; x += $size * sin(n * n); y += $size * cos(1.7 * n * n); z += $size * sin(2.3 * n * n)"; fit --dynamics plain.cfg; done; fit --dynamics plain.cfg --weights unit
echo "-- not a satellite, other frames and units"
rows "x = 7e6; y = 1000 * n; z = 0"; fit --dynamics plain.cfg
rows "" 0.001; fit --dynamics plain.cfg
rows "" 1.5; fit --dynamics plain.cfg
rows "if (n == 30) x = y = z = 100"; fit --dynamics plain.cfg
rows "if (n > 60) next; y += 3 * n * n"; fit --dynamics plain.cfg; fit --dynamics plain.cfg --weights unit
echo "-- strong accelerations"
for size in 0.8e-3 1.3e-3; do rows "t = n * 60; if (n > 24) next; y -= $size * t * t / 15.5; z += $size * t * t / 2"; fit --dynamics pieces.cfg --parameters parameters.csv; cut -d, -f1,2 parameters.csv | tail -2; done
echo "-- dates"
for day in 1972-07-01 1972-07-02 1973-01-18 1858-01-18; do rows "sub(/2021-01-18/, \"$day\", \$1)"; fit --dynamics plain.cfg; done
awk -F, 'NR > 1 { printf "%d,%s\n", (NR - 2) * 60, $2 "," $3 "," $4 }' rows.csv | sed '1i sod,x,y,z' > other.csv; mv other.csv rows.csv; fit --dynamics plain.cfg
echo "-- antennas"
rows "if (n > 40) { \$1 = sprintf(\"2021-01-18T%02d:%02d:%02d\", 1 + int((n - 40) * 1201 / 3600), int((n - 40) * 1201 % 3600 / 60), (n - 40) * 1201 % 60); x = 6890000; y = z = 0 }; if (n > 41) next"
for offset in 0,0,1 1000,0,0 1000.1,0,0 0,nan,0; do echo "$offset"; fit --dynamics plain.cfg --antenna-offset $offset; done
rows ""
fit --dynamics plain.cfg --antenna-offset 0,0,1 --antenna-axes platform
fit --dynamics plain.cfg --antenna-axes platform --att examples/data/demo_att_zdown.txt
fit --dynamics plain.cfg --antenna-offset 0,0,1 --att examples/data/demo_att_zdown.txt
fit --dynamics plain.cfg --antenna-offset 0.3,0.2,1 --antenna-axes platform --att examples/data/demo_att_zdown.txt --sp3-out out/platform.sp3 --interval 300 --to 6000 --residuals out/platform.csv
sed '200,$d' examples/data/demo_att_zdown.txt > short.txt
fit --dynamics plain.cfg --antenna-offset 0.3,0.2,1 --antenna-axes platform --att short.txt --to 3000
echo "-- references"
awk -F, 'NR == 1 || NR > 203' orbit.csv > none.csv; fit --dynamics plain.cfg --truth none.csv
head -30 orbit.csv > some.csv; fit --dynamics plain.cfg --truth some.csv --from 1700 --to 3000; fit --dynamics plain.cfg --truth some.csv --from 1680 --to 3000; fit --dynamics plain.cfg --truth some.csv --from 1920 --to 5000
