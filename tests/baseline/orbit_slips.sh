# What begins an ambiguity and what is edited: a disturbance for each satellite of an arc without noise, on both sides of each limit.
leopod propagate --epoch 2021-01-18T00:00:00 --frame eci --state 6890000 1000 0 0 -980 7543 --duration 4000 --dynamics examples/demo_orbit.cfg --eop examples/data/demo_eop.txt --out orbit.csv > /dev/null
leopod simulate --orbit orbit.csv --nav tests/arc21/arc.nav.gz --systems G --start 2021-01-18T00:01:00 --interval 30 --duration 3600 --mask 0 --code-noise 0 --phase-noise 0 --no-group-delays \
  --obs-out clean.obs --truth-out truth.csv > /dev/null
# epoch of the pass, its last one disturbed, cycles on both bands, metres on both codes; x: not there
cat > cases.txt << 'END'
8 0 7.35 7.35 0
8 0 7.48 7.48 0
2 0 12.90 12.90 0
2 0 13.05 13.05 0
4 0 3.95 0 0
4 0 4.05 0 0
5 0 1.45 0 0
5 0 1.55 0 0
9 0 0.53 0.53 0
9 0 0.60 0.60 0
8 9 x 0 0
8 10 x 0 0
9 0 x 0 0
10 10 0 0 2.9
11 11 0 0 3.2
7 7 0 0 -40
6 6 0 0 5 9 9 0 0 5
6 6 0 0 5 10 10 0 0 5
END
disturbed() { awk 'FILENAME == "cases.txt" { if (NF) what[++cases] = $0; next } /^>/ { e++; body = 1 } !body || /^>/ { if (FNR > 1 || FILENAME == "clean.obs") lines[++n] = $0; next }
  { s = substr($0, 1, 3); k = ++count[s]; lines[++n] = $0; sat[n] = s; number[n] = k }
  END { for (i = 1; i <= n; i++) { s = sat[i]; if (s == "") { print lines[i]; continue }
      if (!(s in taken)) { taken[s] = count[s] > 22 && used < cases ? what[++used] : "" ; if (taken[s] != "") print s ": " taken[s] > "taken.txt" }
      m = split(taken[s], f, " "); drop = 0; for (j = 1; j < 6; j++) v[j] = substr(lines[i], 4 + 16 * (j - 1), 14)
      for (j = 1; j < m; j += 5) if (number[i] >= f[j] && (f[j + 1] == 0 || number[i] <= f[j + 1])) { if (f[j + 2] == "x") drop = f[j + 1] > 0 || number[i] < f[j] + 4
        else { v[2] += f[j + 2]; v[4] += f[j + 3]; v[1] += f[j + 4]; v[3] += f[j + 4] } }
      if (drop) { print s; continue }
      printf "%s", s; for (j = 1; j < 5; j++) printf "%14.3f  ", v[j]; print "" } }' cases.txt clean.obs; }
disturbed > slips.obs
sort taken.txt
orbit() { leopod orbit --nav tests/arc21/arc.nav.gz --eop examples/data/demo_eop.txt --dynamics examples/demo_orbit.cfg --empirical A0:0 --truth truth.csv "$@" | grep -E '^leopod: |status|^  code|^  screened|^left|^amb|^formal|^  orbit  |^not'; }
orbit --obs slips.obs --edits-out edits.csv; sort -t, -k1,1 -k4,4 edits.csv
# a wide lane that is known to a third of a cycle: six of its deviations
cat > cases.txt << 'END'
14 0 15.402 12.002 0
14 0 17.44 13.59 0
END
awk '/^>/ { e++ } /^G/ && e { k = ++count[substr($0, 1, 3)]; printf "%s", substr($0, 1, 3); for (j = 0; j < 4; j++) printf "%14.3f  ", substr($0, 4 + 16 * j, 14) + (j % 2 ? 0 : 0.5 * (k % 2 ? 1 : -1)); print ""; next } { print }' clean.obs > rough.obs
mv rough.obs clean.obs; disturbed > slips.obs
orbit --obs slips.obs --edits-out edits.csv; grep -v pass edits.csv
# lengths of passes, and how long a satellite may be away: epochs of one that are left
for left in "k < 8 || k > 17" "k > 8" "k > 9" "k == 4 || k == 5 || k > 9" "k == 4 || k == 6 || k == 7 || k > 10"; do
  awk '/^>/ { e++ } /^G12/ && e { k++; if ('"$left"') { print "G12"; next } } { print }' clean.obs > short.obs; orbit --obs short.obs --edits-out edits.csv | grep -e ^left -e ^amb; grep G12 edits.csv
done
for away in 59 60 61; do awk '/^>/ { e++ } /^G10/ && e { k++; if (k > 2 && k < 2 + '$away') { print "G10"; next } } { print }' clean.obs > away.obs; orbit --obs away.obs --edits-out edits.csv | grep ^amb; grep -e G10 edits.csv; done
