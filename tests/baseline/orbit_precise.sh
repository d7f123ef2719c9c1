# Orbits with precise products that lack clocks, satellites, or the end of the arc; the weights of clocks between two tabulated ones.
grace=examples/data/grace_b
zcat $grace/cod15942_excerpt.sp3.gz > orbits.sp3
eop="--eop $grace/finals_2010_07.txt.gz"
leopod propagate --epoch 2010-07-27T02:00:00 --frame eci --state 6890000 1000 0 0 -980 7543 --duration 4200 --dynamics examples/demo_orbit.cfg $eop --out orbit.csv > /dev/null
leopod simulate --orbit orbit.csv --sp3 orbits.sp3 --start 2010-07-27T02:05:00 --interval 60 --duration 3600 --seed 3 --phase-noise 0.003 --clock-offset -2e-4 --obs-out arc.obs --truth-out truth.csv | grep -e ^sat -e ^group -e ^wind
orbit() { leopod orbit --obs arc.obs $eop --dynamics examples/demo_orbit.cfg --empirical A0:0 --truth truth.csv "$@" 2>&1 | grep -E '^leopod: |status|^arc|^not|^ephemerides|^sigmas|^  screened|^left|^formal|^  orbit  |precise|clocks'; }
orbit --sp3 orbits.sp3 --satellites-out satellites.csv
awk -F, 'NR > 1 { n[$4]++; p[$4] += $16 * $16; u[$4] += $13 } END { for (s in n) printf "%s %d %d %.4f\n", s, n[s], u[s], sqrt(p[s] / n[s]) }' satellites.csv | sort
# one clock unknown, a satellite without clocks, one without positions for an hour, one that is not there
awk '/^\*/ { at = $5 * 60 + $6 } /^PG31/ && at == 150 || /^PG16/ { $0 = substr($0, 1, 46) " 999999.999999" } /^PG32/ && at > 60 && at < 200 { $0 = "PG32      0.000000      0.000000      0.000000 999999.999999" } /^PG20/ { next }
  /^\+/ { sub("G20", "  0") } { print }' orbits.sp3 > lacking.sp3
orbit --sp3 lacking.sp3 --satellites-out satellites.csv --edits-out edits.csv --sigma-clock 0.5
awk -F, 'NR > 1 { n[$4]++; u[$4] += $13; e[$4] += $9 == "NO_EPHEMERIS" } END { for (s in n) printf "%s %d %d %d\n", s, n[s], u[s], e[s] }' satellites.csv | sort; grep ephemeris edits.csv
# products that end within the arc, or before it
awk '/^\*/ && $5 * 60 + $6 > 165 && $4 == 27 { exit } { print }' orbits.sp3 > early.sp3; echo EOF >> early.sp3; orbit --sp3 early.sp3 --edits-out edits.csv; grep -c ephemeris edits.csv
awk '/^\*/ && $5 * 60 + $6 > 115 && $4 == 27 { exit } { print }' orbits.sp3 > early.sp3; echo EOF >> early.sp3; orbit --sp3 early.sp3
# clocks each 30 s, in a file of their own
awk 'BEGIN { printf "%9.2f%11s%-20s%-20s%s\n%60s%s\n", 3.0, "", "C", "G", "RINEX VERSION / TYPE", "", "END OF HEADER" } /^\*/ { t = ($4 - 26) * 86400 + $5 * 3600 + $6 * 60 } /^PG/ && substr($0, 47) + 0 < 999999 {
  s = substr($0, 2, 3); c = substr($0, 47) * 1e-6; if (s in last && t - time[s] == 900) for (k = 0; k < 900; k += 30) { a = time[s] + k; v = last[s] + (c - last[s]) * k / 900
    printf "AS %s  2010 07 %02d %02d %02d %9.6f  1   %19.12E\n", s, 26 + int(a / 86400), int(a % 86400 / 3600), int(a % 3600 / 60), a % 60, v }
  last[s] = c; time[s] = t }' orbits.sp3 > clocks.clk
orbit --sp3 orbits.sp3 --clk clocks.clk
orbit --sp3 orbits.sp3 --weights elevation --sigma-clock 0
