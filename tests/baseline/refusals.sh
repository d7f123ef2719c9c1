# What no command can use: one line of arguments each; said on one line, status 2, and nothing written.
demo=examples/data/demo
leopod propagate --epoch 2021-01-18T06:00:00 --frame eci --state 6878137 0 0 0 1000 7500 --dynamics examples/demo_orbit.cfg --eop ${demo}_eop.txt \
  --duration 600 --out arc.csv > /dev/null
oem() { printf 'CCSDS_OEM_VERS = 2.0\nMETA_START\nOBJECT_NAME = A\nCENTER_NAME = EARTH\nTIME_SYSTEM = %s\nREF_FRAME = %s\nMETA_STOP\n2021-01-18T06:00:00 1 2 3 %s\n' "$@"; }
oem UT1 GCRF '4 5 6' > ut1.oem; oem UTC TEME '4 5 6' > teme.oem; oem UTC GCRF '' > cut.oem; printf 'CCSDS_OPM_VERS = 2.0\n' > state.opm
printf '#cP2021  1 18  6  0  0.0\n*  2021  1 18  6  0  0.0\nPG01  1.0           2.0           3.0\nPG02  1.0           2.0           3.0\nEOF\n' > two.sp3
printf 'mjd_gpst,sod_gpst,x_m,y_m,z_m\n59000,0,7e6,0,0\n59000,60,7e6,1e6,0\n' > day_before.csv
printf '0,7e6,0,0\n60,7e6,1,1\n' > seconds.csv
printf 'no records\n10 1 2 3\n' > text.txt; printf 'H1 CPF 2 abc 2021 01 27 09\n' > cpf.txt; printf 'H1 CRD 3 2021 01 27 09\n' > version.txt; : > empty.csv
printf '\211PNG\0\r\n\032,,\0,' > bytes.csv
printf 'epoch_gpst,mjd_gpst,sod_gpst,satellite,azimuth_deg,elevation_deg,antenna_azimuth_deg,antenna_elevation_deg,status,used_point,range1_residual_m,range2_residual_m,used_filter,slip,code_if_residual_m,phase_if_residual_m\nx,59232,0,G01,45,30,45,30,OK,1,,,1,,,\n' > one.csv
head -3 tests/data/ocean_loading.blq > head.blq; head -c 700 tests/data/ocean_loading.blq > lost.blq
row=' 1 2 3 4 5 6 7 8 9 10 11'; printf "SHORT\n$row 1 2 3\n" > short.blq; printf 'BAD\n 1 2 3 4 5 nan 7 8 9 10 11\n' > bad.blq
while read -r line; do
  echo "> $line"
  eval "command leopod $line" 2> said > /dev/null; status=$?; tr -c "\n -~" "?" < said | grep -v "^Run with" | cut -c -300; echo "status $status"
done <<'END'
propagate --dynamics examples/demo_orbit.cfg --state ut1.oem
propagate --dynamics examples/demo_orbit.cfg --state teme.oem
propagate --dynamics examples/demo_orbit.cfg --state cut.oem
propagate --dynamics examples/demo_orbit.cfg --state two.sp3
propagate --dynamics examples/demo_orbit.cfg --state two.sp3 --satellite G02
propagate --dynamics examples/demo_orbit.cfg --state arc.csv --epoch 2021-01-18T06:00:30
propagate --dynamics examples/demo_orbit.cfg --state 1 2 3 --epoch 2021-01-18T06:00:00
propagate --dynamics examples/demo_orbit.cfg --state arc.csv --oem-out out/a --object-id 2002-12B
propagate --dynamics examples/demo_orbit.cfg --state arc.csv --oem-out out/a --object-name ' A'
propagate --dynamics examples/demo_orbit.cfg --state arc.csv --oem-out out/a --object-name $(printf 'A%.0s' {1..241})
propagate --dynamics examples/demo_orbit.cfg --state arc.csv --oem-out out/a --oem-frame teme
fit --dynamics examples/demo_orbit.cfg --positions state.opm
fit --dynamics examples/demo_orbit.cfg --positions arc.csv --satellite LX --sp3-out out/a
orbit
orbit --obs ${demo}_bds.obs
orbit --obs ${demo}_bds.obs --nav ${demo}_bds.nav --sp3-antenna ${demo}_bds.nav
orbit --obs ${demo}_bds.obs --nav ${demo}_bds.nav --antenna-axes platform
orbit --obs ${demo}_bds.obs --nav ${demo}_bds.nav --empirical Q0:360
orbit --obs ${demo}_bds.obs --nav ${demo}_bds.nav --gravity ${demo}_truth.csv
orbit --obs ${demo}_bds.obs --nav ${demo}_bds.nav --eop examples/data/grace_b/finals_2010_07.txt.gz
orbit --obs ${demo}_bds.obs --nav ${demo}_bds.nav --from 3000
crd text.txt
crd cpf.txt
crd version.txt
crd empty.csv
crd .
crd %absent
crd tests/data/laser_ranging1.crd --from noon
crd tests/data/laser_ranging1.crd --records 10
crd tests/data/laser_ranging1.crd --records 10,zz --out out/crd
crd tests/data/laser_ranging1.crd --out tests/data/laser_ranging1.crd
tide --blh 10 100 0 --epoch 2021-02-31T00:00:00
tide --blh 10 100 0 --epoch 1900-02-29T00:00:00
tide --blh 10 100 0 --epoch 2021-366T00:00:00
tide --blh 10 100 0 --epoch 2021-00-01T00:00:00
tide --blh 10 100 0 --epoch 2021-01-18T24:00:01
tide --blh 10 100 0 --epoch 2021-01-18T10:60:00
tide --blh 10 100 0 --epoch 2021-01-18T10:00:00x
tide --blh 10 100 0 --epoch 2016-12-31T23:59:60
tide --blh 10 100 0 --epoch 2015-12-31T23:59:60 --time-scale utc
tide --blh 10 100 0 --epoch 2021-01-18T00:00:00 --blq tests/data/ocean_loading.blq --site KOOTWIJK
tide --blh 10 100 0 --epoch 2021-01-18T00:00:00 --blq tests/data/ocean_loading.blq
tide --blh 10 100 0 --epoch 2021-01-18T00:00:00 --blq lost.blq
tide --blh 10 100 0 --epoch 2021-01-18T00:00:00 --blq short.blq
tide --blh 10 100 0 --epoch 2021-01-18T00:00:00 --blq bad.blq
tide --blh 10 100 0 --epoch 2021-01-18T00:00:00 --blq head.blq
tide --blh 10 100 0 --epoch 2021-01-18T00:00:00 --blq %absent
tide --blh 10 100 0 --epoch 2021-01-18T00:00:00 --site ONSALA
tide --blh 10 100 0 --epoch 2021-01-18T00:00:00 --jpl tests/data/tle.tle
tide --blh 10 100 0 --epoch 2021-01-18T00:00:00 --duration -1
tide --blh 10 100 0 --epoch 2021-01-18T00:00:00 --duration 86400 --interval 1e-5
tide --blh 10 100 0
tide --blh 91 0 0 --epoch 2021-01-18T00:00:00
tide --blh 50 0 20200000 --epoch 2021-01-18T00:00:00
tide --epoch 2021-01-18T00:00:00
tle --tle %absent
tle --tle text.txt
tle --tle tests/data/tle.tle
tle --tle tests/data/tle.tle --satno 95 4711
tle --tle tests/data/tle.tle --name POLAR MISSING
tle --tle tests/data/tle.tle --all --names %absent
tle --tle tests/data/tle.tle --all --eop-format c05 --eop text.txt
tle --tle tests/data/tle.tle --all --start 2021-13-01T00:00:00
tle --tle tests/data/tle.tle --all --duration -1
tle --tle tests/data/tle.tle --all --to 3600
tle --tle tests/data/tle.tle --all --from 2021-01-18T00:00:00 --to 0
tle --tle tests/data/tle.tle --all --from 2021-01-18T00:00:00 --duration 60
tle --tle tests/data/tle.tle --all --step 0.001 --duration 1e8
tle --tle tests/data/tle.tle --all --out /dev/null/x.csv
plot
plot sky --out out/bad.svg --in arc.csv
plot sky --out out/bad.svg --in one.csv --from 100
plot sky --out out/a.pdf --in one.csv
plot errors --truth arc.csv --out out/bad.svg --in one.csv
plot errors --truth arc.csv --out out/bad.svg --in arc.csv:filter
plot errors --truth arc.csv --out out/bad.svg --in arc.csv --from 1e6
plot errors --truth arc.csv --out out/bad.svg --in arc.csv --layout pie
plot errors --out out/bad.svg --in arc.csv
plot track --out out/bad.svg --in empty.csv
plot satellites --out out/bad.svg --in bytes.csv
plot track --out out/bad.svg --in $'no\x01\xff.csv'
plot track --out out/bad.svg --in nothing.csv=label
report --out out/none.html
report --in one.csv --out out/none.html
report --in ${demo}_truth.csv --truth day_before.csv --out out/none.html
report --satellites one.csv --from 90000 --out out/none.html
report --satellites one.csv --summary one.csv --out out/none.html
report --satellites one.csv --log /nowhere/log --out out/none.html
simulate --orbit ${demo}_truth.csv --nav ${demo}_bds.nav --obs-out out/never.obs --systems G
simulate --orbit ${demo}_truth.csv --nav ${demo}_bds.nav --obs-out out/never.obs --slip C23,1500,L1
simulate --orbit ${demo}_truth.csv --nav ${demo}_bds.nav --obs-out out/never.obs --slip G01,1500,L1,1
simulate --orbit ${demo}_truth.csv --nav ${demo}_bds.nav --obs-out out/never.obs --slip C23,1500,L2,1
simulate --orbit ${demo}_truth.csv --nav ${demo}_bds.nav --obs-out out/never.obs --slip C23,1500,L1,0.5
simulate --orbit ${demo}_truth.csv --nav ${demo}_bds.nav --obs-out out/never.obs --slip C23,0,L1,1
simulate --orbit ${demo}_truth.csv --nav ${demo}_bds.nav --obs-out out/never.obs --att-out /dev/null/att
simulate --orbit ${demo}_truth.csv --nav examples/README.md --obs-out out/never.obs
simulate --orbit ${demo}_truth.csv --obs-out out/never.obs
simulate --orbit seconds.csv --nav ${demo}_bds.nav --obs-out out/never.obs
END
