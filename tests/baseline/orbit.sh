# Orbits of a real arc: positions, a fit through them, the reduced-dynamic orbit, and how they agree.
grace=examples/data/grace_b
input="--obs $grace/grcb2080_01h05h.10d.gz --sp3 $grace/cod15942_excerpt.sp3.gz --sp3-antenna $grace/gps_satellites_2010208.atx.gz --eop $grace/finals_2010_07.txt.gz"
field="--gravity $grace/egm2008_degree90.txt.gz --eop $grace/finals_2010_07.txt.gz"
truth="--truth $grace/reference_orbit.csv.gz"
leopod run $input --sigma-phase 0.05 --interval 30 --to 9000 --out epochs.csv
leopod fit --positions epochs.csv --dynamics examples/fit_leo.cfg $field $truth --interval 60 --out out/fit.csv --residuals out/fit_residuals.csv \
  --parameters out/fit_parameters.csv --history out/fit_history.csv --sp3-out out/fit.sp3 --oem-out out/fit.oem --object-name GRACE-B --object-id 2002-012B \
  --summary out/fit.json --plot out/fit.svg
leopod orbit $input --gravity $grace/egm2008_degree90.txt.gz $truth --interval 60 --to 9000 --out out/orbit.csv --sp3-out out/orbit.sp3 --oem-out out/orbit.oem \
  --object-name GRACE-B --object-id 2002-012B --summary out/orbit.json --formal-out out/formal.csv --satellites-out out/satellites.csv \
  --edits-out out/edits.csv --parameters out/parameters.csv --output-interval 120
leopod orbit $input --gravity $grace/egm2008_degree90.txt.gz --interval 120 --to 7200 --weights elevation --elevation-mask 8 --no-adapt --sigma-code 0.5 \
  --sigma-phase 0.01 --empirical R0:0:20:0 A0:600:10:1200 CC:0:30:0 --antenna-offset 0,0,0.5 --no-wind-up --out out/short.csv
leopod orbit --compare out/orbit.csv out/fit.csv
