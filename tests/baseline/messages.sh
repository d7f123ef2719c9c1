# Orbit messages: ephemerides and states of each frame and time system, and what is wrong in one.
state() { echo "[$*]"; command leopod propagate --dynamics examples/demo_orbit.cfg --duration 60 --out out.csv "$@" 2>&1 > said | sed 's/leopod: file.o.m: //; /^note: NO EARTH/d'; grep '^state:' said; [ ! -f out.csv ] || { cut -d, -f 2-4,10-15 out.csv | sed -n 2p; rm out.csv; }; }
meta() { printf 'META_START\nOBJECT_NAME = %s\nOBJECT_ID = 2021-00%sA\nCENTER_NAME = EARTH\nREF_FRAME = %s\nTIME_SYSTEM = %s\nSTART_TIME = 2021-01-18T00:00:00\nMETA_STOP\n' "$@"; }
row='6890.0 0.25 -0.5 0.125 -0.98 7.543'
rows() { printf "$1 $row\n"; printf "2021-01-18T00:02:30.5Z 6800.0 1 2 3 4 5 0 0 0\n"; }
oem() { { printf 'CCSDS_OEM_VERS = 2.0\nCREATION_DATE = 2021-01-18T00:00:00\nORIGINATOR = X\n\n'; meta A 1 $1 $2; echo "COMMENT states"; rows 2021-01-18T00:00:00.0; } > file.oem; state --state file.oem; }
for frame in ITRF2014 ITRF GCRF ICRF EME2000 TEME; do oem $frame UTC; done
for scale in GPS TAI TT TDB; do oem GCRF $scale; done
state --state file.oem --epoch 2021-01-18T00:02:30.5
oem GCRF UTC > /dev/null; state --state file.oem --epoch 2021-01-18T00:02:30.5 --time-scale utc
good=$(cat file.oem)
two=$(meta B 2 GCRF GPS; echo "2021-01-18T00:00:00 7000 0 0 0 0 7")
with() { echo "[$1]"; printf '%s\n' "${@:2}" > file.oem; state --state file.oem; }
with 'two of B, one of A' "$good" "$two" "${two/18T/19T}"
state --state file.oem --satellite 2021-002A
state --state file.oem --satellite B --epoch 2021-01-19T00:00:00
state --state file.oem --satellite C
with 'frames' "$good" "$(meta A 1 ITRF GPS; rows 2021-01-18T00:00:00)"
with 'no version' "${good/CCSDS_OEM_VERS/CCSDS_OEM_VERSION}"
for version in 1.0 3.9 0.9 4.0 ''; do with "version $version" "${good/2.0/$version}"; done
with 'start' "${good/META_START/META}"
with 'stop' "${good/META_STOP/META}"
with 'end' "${good%%META_STOP*}"
with 'no state' "${good%%META_STOP*}META_STOP"
with 'no state' "${good%%META_STOP*}META_STOP" "$two"
for word in TIME_SYSTEM CENTER_NAME REF_FRAME OBJECT_NAME; do with "no $word" "${good/$word = /$word =COMMENT }"; with "no $word" "${good/$word/COMMENT}"; done
with 'Moon' "${good/EARTH/MOON}"
with 'fields' "$good" "2021-01-18T00:05:00 1 2 3 4 5"
with 'fields' "$good" "2021-01-18T00:05:00 1 2 3 4 5 6 7"
with 'number' "${good/0.125/0.1x25}"
with 'number' "${good/0.125/0.12500000000000000000000000000000000000000000000000000x}"
for time in '2021-01-18 00:05:00' 2021-01-18T24:00:01 2021-02-29T00:00:00 2021-366T00:00:00 2020-366T00:00:00 2021-01-18T00:60:00 1972-06-30T23:59:59 1972-07-01T00:00:00 2016-12-31T23:59:60.5 x; do with "$time" "$good" "${time/ /_} 7000 0 0 0 0 7"; done
cov() { printf 'COVARIANCE_START\n%s\nCOVARIANCE_STOP\n' "$1"; }
six=$(printf '1\n0 2\n0 0 3\n0 0 0 4\n0 0 0 0 5\n0 0 0 0 0 6')
with 'covariances' "$good" "$(cov "EPOCH = 2021-01-18T00:00:00
$six
EPOCH = 2021-01-18T00:02:30.5
COV_REF_FRAME = RTN
$six
COV_REF_FRAME = GCRF
EPOCH = 2021-01-18T00:02:30
$six")"
with 'one in other axes' "$good" "$(cov "EPOCH = 2021-01-18T00:02:30.5
COV_REF_FRAME = GCRF
$six")"
with 'epoch' "$good" "$(cov "$six")"
with 'short' "$good" "$(cov "EPOCH = 2021-01-18T00:00:00
1
2")"
with 'early' "$good" 'COVARIANCE_START
EPOCH = 2021-01-18T00:00:00
1'
with 'open' "$good" 'COVARIANCE_START'
with 'open' "$good" "COVARIANCE_START
EPOCH = 2021-01-18T00:00:00
$six"
opm() { echo "[$1]"; { printf 'CCSDS_OPM_VERS = 2.0\nOBJECT_NAME = A\nOBJECT_ID = 1\nCENTER_NAME = EARTH\nREF_FRAME = GCRF\nTIME_SYSTEM = UTC\nEPOCH = 2021-01-18T00:00:00\nX = 6890.0 [km]\nY = 0.25\nZ = -0.5 [km]\nX_DOT = 0.125 [km/s]\nY_DOT = -0.98\nZ_DOT = 7.543\n' | grep -v "^${3:-none}"; printf "$1"; } > file.opm; state --state file.opm $2; }
opm ''
opm 'MAN_EPOCH_IGNITION = 2021-01-18T00:01:00\nX = 1\n'
opm 'x'
opm '' '--epoch 2021-01-18T00:00:18'
opm '' '--epoch 2021-01-18T00:00:00'
for key in OBJECT_NAME REF_FRAME EPOCH X Z_DOT; do opm '' '' $key; done
command leopod orbit --compare file.opm file.oem 2>&1
printf 'CCSDS_OMM_VERS = 2.0\nx\n' > file.omm; state --state file.omm
printf '  CCSDS_OEM_VERS\n' > file.oem; state --state file.oem
