# Reduced-dynamic orbits that end with a reason: options, arcs that are too short or too poor, motions that don't follow the observations.
nav="--nav tests/arc21/arc.nav.gz --eop examples/data/demo_eop.txt"
leopod propagate --epoch 2021-01-18T00:00:00 --frame eci --state 6890000 1000 0 0 -980 7543 --duration 5460 --dynamics examples/demo_orbit.cfg --eop examples/data/demo_eop.txt --out orbit.csv > /dev/null
leopod simulate --orbit orbit.csv --nav tests/arc21/arc.nav.gz --systems G --start 2021-01-18T00:01:00 --interval 60 --phase-noise 0.003 --clock-offset 1e-4 --mask 2 --duration 3600 \
  --obs-out arc.obs --truth-out truth.csv > /dev/null
orbit() { leopod orbit $nav --dynamics examples/demo_orbit.cfg "$@" 2>&1 | grep -E '^leopod: |status|^  orbit  |^formal|^  screened|^antenna: est|^--|^accelerations'; }
light="--to 1300 --empirical A0:0"
echo "-- accelerations and other options"
for term in A0:29.9 C0:-1 C0:0:-1 RC:600:1:-1 RS:600:1:1:1 AC:600:1:100 AS:600::1 CC:6x0 CS Q0 a0; do echo "$term: $(orbit --obs arc.obs --empirical $term --to 1300 | tr '\n' ' ')"; done
for option in "--output-interval 0" "--output-interval -1" "--sigma-code 0" "--sigma-phase 0" "--weights other" "--interval -1" "--empirical" "--antenna-offset 0,0" "--antenna-axes platform" \
  "--crd x.crd" "--stations x.csv" "--crd-out x.csv" "--reflector-offset 0,0,1" "--crd-target x" "--compare orbit.csv" "--compare none.csv truth.csv" "--sp3-antenna tests/arc21/zero.atx.gz" \
  "--sp3-out x --satellite 1" "--truth orbit.csv.gz" "--config examples/data/demo_eop.txt" "--elevation-mask 91 $light"; do orbit --obs arc.obs $option; done
echo "-- spans"
for span in "--to 1200" "--to 1201" "--interval 190" "--interval 180"; do orbit --obs arc.obs --empirical A0:0 $span; done
# the antenna is estimated with a good field over an hour
for field in "60 3560" "60 3601" "59 3601"; do
  sed "s/YES 30/YES ${field% *}/; s/20.0/30/" examples/demo_orbit.cfg > field.cfg
  leopod orbit $nav --obs arc.obs --to ${field#* } --gravity examples/data/grace_b/egm2008_degree90.txt.gz --dynamics field.cfg --no-adapt 2>&1 | grep -E '^antenna|^accel|status'
done
echo "-- observations"
awk '/^G/ && e { print substr($0, 1, 33); next } { e += /^>/; print }' arc.obs > one.obs; orbit --obs one.obs
sed 's/2021 01 18/2021 01 19/; s/2021     1    18/2021     1    19/' arc.obs > later.obs; orbit --obs later.obs
kept() { awk "/^>/ { e++; n = 0; most = $1; print substr(\$0, 1, 32) sprintf(\"%3d\", most); next } /^G/ && e && ++n > most { next } { print }" arc.obs; }
# the same with a change of each code and phase of epoch e, satellite s, by its number k of epochs
changed() { awk '/^>/ { e++ } /^G/ && e { s = substr($0, 2, 2) + 0; k = ++count[s]; if ('"$2"') { print substr($0, 1, 3); next } printf "%s", substr($0, 1, 3)
  for (i = 0; i < 4; i++) { c = '"$1"'; printf "%14.3f  ", substr($0, 4 + 16 * i, 14) + c } print ""; next } { print }' arc.obs; }
for most in 3 4; do echo "$most satellites"; kept $most > few.obs; orbit --obs few.obs --truth truth.csv --empirical A0:0; done
kept "e < 16 ? 3 : 15" > begin.obs; orbit --obs begin.obs --truth truth.csv
kept "e % 4 ? 3 : 8" > begin.obs; orbit --obs begin.obs --truth truth.csv --empirical A0:0
changed "i % 2 ? 0 : 40 * sin(s * k)" 0 > noisy.obs; orbit --obs noisy.obs --truth truth.csv $light
changed "i % 2 ? 0 : 2000 * sin(s * s * k * k)" 0 > noisy.obs; orbit --obs noisy.obs --truth truth.csv $light
changed "1e6 * sin(s * s * k * k)" 0 > noisy.obs; orbit --obs noisy.obs --truth truth.csv $light
changed "0" "e > 15 && e < 46" > gap.obs; orbit --obs gap.obs --truth truth.csv --empirical A0:600
for most in 14 17; do changed "i % 2 ? k % 2 * 20 * (s < $most) : 0" 0 > share.obs; orbit --obs share.obs $light; done
for size in 28 32; do changed "i % 2 == 0 && k == 7 ? $size : 0" 0 > gross.obs; orbit --obs gross.obs --truth truth.csv $light --edits-out edits.csv; grep code edits.csv | head -4; done
echo "-- sigmas, motions"
orbit --obs arc.obs --truth truth.csv --sigma-code 0.06 --sigma-phase 0.001 --sigma-clock 0 $light
orbit --obs arc.obs --truth truth.csv --sigma-code 0.062 --sigma-phase 0.00105 --sigma-clock 0 $light
orbit --obs arc.obs --truth truth.csv --no-adapt --empirical A0:600:0.001 --sigma-clock 0
sed 's/YES 30/YES 24/' examples/demo_orbit.cfg > coarse.cfg
for empirical in A0:0 "R0:0:1 A0:300:5" "A0:300:2:600 R0:300:2:600 C0:300:2:600"; do leopod orbit $nav --obs arc.obs --to 2400 --truth truth.csv --dynamics coarse.cfg --empirical $empirical --summary summary.json 2>&1 | \
  grep -E '^leopod: |status|^  orbit  |^accel|^formal|^  codes|^  code and|^  looser|^  screened'; grep -e strain -e loosened summary.json; done
orbit --obs arc.obs --truth truth.csv --antenna-offset 5,0,0 --empirical A0:0; orbit --obs arc.obs --truth truth.csv --antenna-offset 5,0,0 --antenna-sigma 10 --empirical A0:0
