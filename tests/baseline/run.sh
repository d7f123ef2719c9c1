# Epochs of two systems with all outputs, spans, other options; the embedded deployment at whole seconds; precise products.
gunzip -c tests/arc21/both.cfg.gz > both.cfg
arc="--obs tests/arc21/both.obs.gz --nav tests/arc21/arc.nav.gz --att tests/arc21/attitude.txt.gz --atx tests/arc21/zero.atx.gz --eop examples/data/demo_eop.txt"
leopod run $arc --config both.cfg --truth tests/arc21/truth_epochs.csv.gz --out both.csv --satellites-out out/both_satellites.csv \
  --summary out/both.json --sp3-out out/both.sp3
cut -d, -f-21 both.csv > out/both.csv  # variances of free observations are rounding
leopod run $arc --systems GPS --codes GPS:C1P,L1P,C2P,L2P --from 2021-01-18T00:02:00 --to 600 --interval 60 --sigma-code 1 --sigma-phase 0.01 \
  --antenna-offset 0.1,0.2,0.3 --antenna-axes platform --out out/gps.csv --satellites-out out/gps_satellites.csv --log-level warning
demo=examples/data/demo
leopod run --embedded --obs ${demo}_bds.obs --nav ${demo}_bds.nav --att ${demo}_att_zdown.txt --truth ${demo}_truth.csv --out out/demo.csv \
  --plot out/demo.svg --to 3600 --sp3-out out/demo.sp3 --sp3-version d --satellite L05 --round --oem-out out/demo.oem --object-name DEMO --object-id 2021-001A
grace=examples/data/grace_b
leopod run --obs $grace/grcb2080_01h05h.10d.gz --sp3 $grace/cod15942_excerpt.sp3.gz --sp3-antenna $grace/gps_satellites_2010208.atx.gz --eop $grace/finals_2010_07.txt.gz \
  --sigma-phase 0.05 --to 7200 --truth $grace/reference_orbit.csv.gz --out out/grace.csv --satellites-out out/grace_satellites.csv \
  --oem-out out/grace.oem --oem-frame gcrf --oem-time utc --object-name GRACE-B --object-id 2002-012B
