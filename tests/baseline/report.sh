# The page of a run and its fit, without the charts' library.
demo=examples/data/demo
arc="--embedded --obs ${demo}_bds.obs --nav ${demo}_bds.nav --att ${demo}_att_zdown.txt --to 3600"
leopod run $arc --truth ${demo}_truth.csv --out epochs.csv --satellites-out satellites.csv --summary run.json --log-level warning 2> run.log
leopod fit --positions epochs.csv --dynamics examples/demo_orbit.cfg --eop examples/data/demo_eop.txt --out fit.csv --residuals residuals.csv --summary fit.json
leopod report --in epochs.csv --satellites satellites.csv --fit fit.csv --residuals residuals.csv --truth ${demo}_truth.csv --summary run.json fit.json \
  --log run.log --title 'An hour' --charts /nowhere --out out/page.html
leopod report --in epochs.csv --interval 60 --from 2021-01-18T00:12:00 --to 1200 --command 'leopod run --obs "arc.obs"' --charts /nowhere --out out/short.html
