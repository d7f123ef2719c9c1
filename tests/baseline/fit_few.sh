# Rows of which so many serve: 19 make no orbit, 20 do.
leopod propagate --epoch 2021-01-18T00:00:00 --frame eci --state 6890000 1000 0 0 -980 7543 --duration 3600 --interval 60 --dynamics examples/demo_orbit.cfg \
  --eop examples/data/demo_eop.txt --out orbit.csv > /dev/null
for n in 19 20; do
  awk -F, -v n=$n 'NR == 1 { print "epoch_gpst,status,x_ecef_m,y_ecef_m,z_ecef_m"; next } { printf "%s,%s,%s,%s,%s\n", $1, NR % 3 == 2 && NR < 3 * n + 2 ? "OK" : "POOR_FIT", $4, $5, $6 }' \
    orbit.csv > rows.csv
  leopod fit --positions rows.csv --solution point --dynamics examples/demo_orbit.cfg --eop examples/data/demo_eop.txt | grep -e ^conv -e ^NOT -e ^reason -e ^positions
done
