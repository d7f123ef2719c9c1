# Element sets, laser ranges, displacements.
leopod tle --tle tests/data/tle.tle --names tests/data/tle_names.txt --all --from 2021-01-18T06:00:00 --to 2021-01-18T08:00:00 --step 1200 \
  --eop examples/data/demo_eop.txt --out out/states.csv --summary out/tle.json
leopod tle --tle tests/data/tle.tle --all --duration 7200 --step 1800 --out -
leopod crd tests/data/laser_ranging1.crd tests/data/laser_ranging2.crd --out out/crd --summary out/crd.json
leopod crd tests/data/laser_ranging2.crd --records 11,20 --out out/crd_some
leopod tide --blh 57.4 11.93 45.5 --epoch 2021-01-18T00:00:00 --duration 86400 --interval 10800 --blq tests/data/ocean_loading.blq --site "ONSALA 7213" \
  --eop examples/data/demo_eop.txt --out out/tide.csv --summary out/tide.json
leopod tide --xyz 3370658.6 711877.1 5349786.9 --time-scale utc --epoch 2021-01-18T12:00:00
