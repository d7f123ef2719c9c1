# Pictures of each kind, of a run over an hour and of days.
demo=examples/data/demo
arc="--embedded --obs ${demo}_bds.obs --nav ${demo}_bds.nav --att ${demo}_att_zdown.txt --to 3600"
leopod run $arc --out epochs.csv --satellites-out satellites.csv > /dev/null
truth="--truth ${demo}_truth.csv"
leopod plot errors $truth --in epochs.csv:point=ranges --in epochs.csv:filter --out out/errors.svg --title 'An arc & "its" <truth>'
leopod plot errors $truth --in epochs.csv:filter --layout solutions,total --log --limit 0.5 --from 600 --to 2400 --out out/errors_log.svg
leopod plot residuals --in satellites.csv --out out/residuals.svg
leopod plot residuals --in satellites.csv --of point --frame antenna --limit 2 --interval 60 --out out/residuals_point.svg
leopod plot satellites --in epochs.csv --in satellites.csv --out out/satellites.svg
leopod plot sky --in satellites.csv --out out/sky.svg
leopod plot sky --in satellites.csv --style density --frame antenna --title Density --out out/density.svg
leopod plot track --in epochs.csv --out out/track.svg
# three days at a minute: dates on the axes, thinned lines, three turns of the map
awk 'BEGIN { print "mjd_gpst,sod_gpst,x_ecef_m,y_ecef_m,z_ecef_m"; for (t = 0; t < 86400 * 3; t += 600) { u = t / 900; l = t / 13713
  printf "%d,%d,%.4f,%.4f,%.4f\n", 59232 + int(t / 86400), t % 86400, 6.9e6 * cos(u) * cos(l), -6.9e6 * cos(u) * sin(l), 6.9e6 * sin(u) } }' > days.csv
awk -F, 'NR == 1 { print } NR > 1 { printf "%d,%d,%.4f,%.4f,%.4f\n", $1, $2, $3 + 3 * sin(NR / 7), $4 + 2, $5 - 40 * (NR == 99) }' days.csv > wrong.csv
leopod plot errors --truth days.csv --in wrong.csv --layout components,total --out out/days.svg
leopod plot track --in days.csv --title 'Three days' --out out/days_track.svg
