# An orbit by the built-in field, and what a receiver on it observes: all models and disturbances of the simulation.
state="6890000.0 1000.0 0.0 0.0 -980.0 7543.0"
leopod propagate --epoch 2021-01-18T00:00:00 --frame eci --state $state --to 2021-01-18T01:00:00 --interval 30 --dynamics examples/demo_orbit.cfg \
  --eop examples/data/demo_eop.txt --out out/orbit.csv --sp3-out out/orbit.sp3 --sp3-version d --oem-out out/orbit.oem --oem-frame gcrf \
  --oem-time utc --object-name DEMO --object-id 2021-001A --satellite L07 --summary out/orbit.json --rows-out out/rows.txt --rows-interval 20
leopod simulate --orbit out/orbit.csv --nav tests/arc21/arc.nav.gz --systems GC --from 2021-01-18T00:05:00 --to 2021-01-18T00:35:00 --interval 20 \
  --seed 7 --clock-offset 3e-4 --clock-drift 2e-7 --clock-walk 1e-10 --clock-jumps --slip G06,2021-01-18T00:11:00,L1,5 --slip-rate 3 --slip-size 9 \
  --tec 12 --shell-height 700 --mask 8 --channels 14 --yaw 20 --obs-out out/arc.obs --att-out out/attitude.txt --truth-out out/truth.csv \
  --events-out out/events.csv --oem-out out/true.oem --oem-frame ITRF2014 --object-name DEMO --object-id 2021-001A --summary out/simulate.json
leopod simulate --orbit out/orbit.sp3 --satellite L07 --nav tests/arc21/arc.nav.gz --systems C --start 2021-01-18T00:20:00 --duration 300 --no-wind-up \
  --no-group-delays --platform-z up --code-noise 0 --phase-noise 0 --obs-out out/bds.obs --truth-out out/bds.csv
