# Positions of a receiver's antenna: when their height over the orbit is estimated, and what other offsets do to a fit.
gravity="--gravity examples/data/grace_b/egm2008_degree90.txt.gz --eop examples/data/demo_eop.txt"
forces() { printf '+Force_Models\nEarth_Gravity = YES %s\n%s-Force_Models\n+GENERAL_CONFIG\nIntegration_Step_Size = 120\nIntegration_Output_Interval = 120\n-GENERAL_CONFIG\n' "$@"; }
forces 60 "" > sixty.cfg; forces 59 "" > fiftynine.cfg
forces 60 "Empirical_Force = YES A0:5000 R0:20000
" > radial.cfg
forces 60 "Empirical_Force = YES A0:20000
" > along.cfg
leopod propagate --epoch 2021-01-18T00:00:00 --frame eci --state 6890000 1000 0 0 -980 7543 --duration 10300 --interval 60 --dynamics sixty.cfg $gravity --out orbit.csv > /dev/null
# 0.4 m up, 0.2 m along and across, a status in each row; the last at 10000 s and a second behind
rows() { awk -F, -v end=$1 'NR == 1 { for (i = 1; i <= NF; i++) at[$i] = i; print "epoch_gpst,status,x_ecef_m,y_ecef_m,z_ecef_m"; next } NR % 3 == 2 || $at["sod_gpst"] == end { if ($at["sod_gpst"] > end) exit
  x = $at["x_ecef_m"]; y = $at["y_ecef_m"]; z = $at["z_ecef_m"]; r = sqrt(x * x + y * y + z * z); u = 1 + 0.4 / r; w = 0.05 * sin(NR * NR)
  printf "%s,%s,%.4f,%.4f,%.4f\n", $1, NR < 5 ? "RESTARTED" : "OK", x * u + w, y * u - w, z * u + w }' orbit.csv > rows.csv; }
fit() { leopod fit $gravity --solution point --positions rows.csv "$@" | grep -E '^antenna|^conv|^NOT|reason|^res|^positions used|status|^param'; }
rows 10020; fit --dynamics sixty.cfg --summary fit.json; grep -A4 '"antenna' fit.json
rows 9960; fit --dynamics sixty.cfg
rows 10020
fit --dynamics fiftynine.cfg
fit --dynamics radial.cfg
fit --dynamics along.cfg --parameters out/along.csv
fit --dynamics sixty.cfg --antenna-sigma 0.01
fit --dynamics sixty.cfg --antenna-sigma 0
fit --dynamics sixty.cfg --antenna-offset 0.4,0,0
fit --dynamics sixty.cfg --antenna-offset 0.4,0,0 --antenna-sigma -1
sed 's/,OK,/,/; s/,RESTARTED,/,/; s/,status,/,/' rows.csv > plain.csv; mv plain.csv rows.csv; fit --dynamics sixty.cfg
