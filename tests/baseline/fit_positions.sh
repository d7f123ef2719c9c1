# Fits to an exact orbit with known errors: weights, outliers, offsets, frames and scales; arcs that give no orbit.
forces() { printf '+Force_Models\nEarth_Gravity = YES %s\n%s-Force_Models\n+GENERAL_CONFIG\nIntegration_Step_Size = 60\nIntegration_Output_Interval = %s\n-GENERAL_CONFIG\n' "$@"; }
forces 4 "" 60 > plain.cfg
forces 4 "Empirical_Force = YES A0:2400 RS:6000
" 60 > pieces.cfg
forces 4 "Empirical_Force = YES R0:13000 C0:5000
" 30 > radial.cfg
eop="--eop examples/data/demo_eop.txt"
leopod propagate --epoch 2021-01-18T00:00:00 --frame eci --state 6890000 1000 0 0 -980 7543 --duration 12060 --dynamics plain.cfg $eop --out orbit.csv --oem-out orbit.oem --sp3-out orbit.sp3 \
  --satellite L17 | grep -v ^messages
# rows of a run: covariances, a state that is set aside, outliers in twelve stretches, a noise that is known
awk -F, 'NR == 1 { for (i = 1; i <= NF; i++) at[$i] = i
    print "receive_gpst,status,filter_x_ecef_m,filter_y_ecef_m,filter_z_ecef_m,filter_status,filter_cov_xx_m2,filter_cov_xy_m2,filter_cov_xz_m2,filter_cov_yy_m2,filter_cov_yz_m2,filter_cov_zz_m2"; next }
  { n = NR - 2; bad = n % 16 == 7 || n == 24; rough = n % 5 == 0
    printf "%s,OK,%.4f,%.4f,%.4f,%s,%s\n", $1, $at["x_ecef_m"] + 0.3 * sin(n) * (1 + 3 * rough) + 20 * bad, $at["y_ecef_m"] + 0.3 * cos(2.1 * n), $at["z_ecef_m"] - 0.2 * sin(n * n), 
      n < 3 ? "RESTARTED" : n == 60 ? "PREDICTED" : "OK", rough ? "4,0.1,0,0.2,-0.05,0.3" : "0.1,0,0.01,0.1,0,0.1" }' orbit.csv > run.csv
fit() { leopod fit $eop "$@" | grep -v -e ^messages -e '^earth or' -e ^planets; }
fit --positions run.csv --dynamics pieces.cfg --residuals out/residuals.csv --parameters out/parameters.csv --history out/history.csv --out out/fit.csv --sp3-out out/fit.sp3 \
  --oem-out fit.oem --summary out/fit.json --truth orbit.csv --satellite L17
awk -F, 'NR > 1 { for (k = 3; k < 7; k++) s[k] += ($k < 0 ? -$k : $k); n += $7 != "" } END { printf "sums %.4f %.4f %.4f %.3f, %d left out\n", s[3], s[4], s[5], s[6], n }' out/residuals.csv
# covariances of some states, in thousandths of m2, m mm/s, mm2/s2
covariances() { awk -v each=$2 '/^EPOCH/ { n++; if (n % each == 1) print; row = 0; next } n % each == 1 && NF <= 6 && $1 ~ /e-/ { row++; for (i = 1; i <= NF; i++) printf "%.3f ", $i * 1e9 * (row > 3 ? 1e3 : 1) * (i > 3 ? 1e3 : 1); print "" }' $1; }
covariances fit.oem 60
fit --positions run.csv --dynamics plain.cfg --from 1800 --to 2021-01-18T01:30:00 --interval 120 --antenna-offset 1,0.5,-0.25 --truth orbit.csv --oem-out moved.oem --oem-frame gcrf --object-name M; covariances moved.oem 30
# inertial positions with a noise and covariances of their frame, those of each second one large
awk '/^EPOCH/ { n++ } /^20.*T/ { k++; printf "%s %.9f %.9f %.9f %s %s %s\n", $1, $2 + 4e-4 * sin(k), $3 + 3e-4 * sin(k * k), $4 - 5e-4 * (k % 2), $5, $6, $7; next }
  n % 2 && / *[-0-9.]+e/ { for (i = 1; i <= NF; i++) $i = sprintf("%.9e", $i * (i == NF ? 40 : 30)) } { print }' moved.oem > noisy.oem
fit --positions noisy.oem --dynamics pieces.cfg --truth orbit.csv --residuals noisy.csv --parameters out/noisy_parameters.csv | tail -9
awk -F, 'NR % 4 == 2 { print $1, $3, $4, $5, $6 }' noisy.csv
fit --positions run.csv --dynamics plain.cfg --antenna-offset 2,0,0 --antenna-sigma 0.5 --history out/offset.csv
fit --positions orbit.sp3 --dynamics plain.cfg --sp3-out again.sp3 --to 4000
fit --positions orbit.oem --dynamics plain.cfg --truth orbit.sp3 --to 4000
fit --positions orbit.oem --dynamics plain.cfg --truth orbit.csv --from 6000 --weights unit | tail -3
# other scales and frames; positions between the output epochs
awk -F, 'NR == 1 { for (i = 1; i <= NF; i++) at[$i] = i; print "mjd,sod,x,y,z"; next } { t = (NR - 2) * 60 - 18; printf "%d,%.3f,%s,%s,%s\n", 59232 - (t < 0), t + 86400 * (t < 0), $at["x_gcrs_m"], $at["y_gcrs_m"], $at["z_gcrs_m"] }' orbit.csv > utc.csv
fit --positions utc.csv --frame eci --time-scale utc --dynamics plain.cfg --truth orbit.csv
fit --positions utc.csv --frame eci --time-scale gpst --dynamics plain.cfg --weights unit --truth orbit.csv | tail -4
fit --positions utc.csv --frame eci --time-scale utc --dynamics radial.cfg --weights unit --parameters out/unit_parameters.csv --sp3-out unit.sp3
forces 4 "" 50 > fifty.cfg
fit --positions utc.csv --frame eci --time-scale utc --dynamics fifty.cfg --weights unit --out fifty.csv; tail -2 fifty.csv | cut -d, -f1-6
fit --positions utc.csv --dynamics plain.cfg
fit --positions run.csv --frame eci --dynamics plain.cfg
