# Pictures of made-up satellites: residuals, tracking, the sky, densities.
head="satellite,mjd_gpst,sod_gpst,azimuth_deg,elevation_deg,antenna_azimuth_deg,antenna_elevation_deg,used_point,used_filter,slip,code_if_residual_m,phase_if_residual_m,range1_residual_m,range2_residual_m"
# file, satellites, epochs, step, and of satellite s at epoch i: azimuth, elevation, code, phase
made() {
  awk -v h="$head" -v m="$2" -v n="$3" -v d="$4" "BEGIN { print h; for (i = 0; i < n; ++i) for (s = 1; s <= m; ++s) { a = $5; e = $6
    printf(\"%s%02d,%d,%.3f,%.3f,%.3f,%.3f,%.3f,%d,%d,%s,%.4f,%.5f,%.4f,%.4f\n\", s < 50 ? \"G\" : \"C\", s < 50 ? s : s - 49, 59232 + int(i * d / 86400), i * d % 86400,
    a, e, (a + 90) % 360, e > 80 ? 170 - e : e + 10, (i + s) % 5 != 0, (i + s) % 7 != 0, i % 6 == s % 6 ? \"MW\" : \"\", $7, $8, $7 + 0.5, $7 - 0.25) } }" > "$1"
}
texts() { sed -nE 's/<text x="([^"]*)" y="([^"]*)"[^>]*>(.*)<\/text>/\1,\2 \3/p' "$1" | paste -sd'|'; }
draw() { leopod plot "$@" --out picture.svg > said; grep -v plot: said; }
in_parts() { split -l 115 -d picture.svg out/$1.svg.; }

made few.csv 5 7 30 "s * 70 + 3 * i" "s * 17 - 20 + i" "s - 3" "(s - 2) * 0.01 + i * 0.001"
draw residuals --in few.csv; grep -A 1 'class="series"' picture.svg > out/residuals.txt; texts picture.svg
draw residuals --in few.csv --of point --frame antenna; grep -A 1 'class="series"' picture.svg > out/point.txt; texts picture.svg
for limit in 0.5 1 1.5 2; do draw residuals --in few.csv --limit $limit --limit-phase 0.0${limit/./}; texts picture.svg | cut -d'|' -f2-6; done
draw residuals --in few.csv --of point --limit 1.25; texts picture.svg | cut -d'|' -f2-6
draw residuals --in few.csv --of point --limit 1.25 --from 60 --to 120; texts picture.svg | cut -d'|' -f2-6
draw satellites --in few.csv; in_parts satellites
made two.csv 2 4 1 "s * 90" "45" 0 0; draw satellites --in two.csv; texts picture.svg
made one.csv 1 1 1 "s * 90" "45" 0 0; draw satellites --in one.csv; cp picture.svg out/one.svg
draw residuals --in one.csv; texts picture.svg
draw sky --in one.csv; texts picture.svg | cut -d'|' -f-3,18-

echo "# signs and columns of names"
made many.csv 66 2 30 "s * 5.3" "10 + s" "s * 0.01" "s * 0.001"
draw residuals --in many.csv; texts picture.svg | tr '|' '\n' | grep ',.* [GC][0-9]' | paste -sd'|'
grep -A 1 'class="series"' picture.svg | sed 's/<.g>//; s/ d="\([^"]\{40\}\)[^"]*"/ d="\1"/' | awk 'NR % 24 < 3' > out/signs.txt
draw sky --in many.csv; grep -A 2 'class="series"' picture.svg | awk 'NR % 24 < 4' > out/signs_sky.txt
made many.csv 67 2 30 "s * 5.3" "10 + s" 0 0; draw residuals --in many.csv; texts picture.svg | tr '|' '\n' | grep ',.* [GC][0-9]' | awk 'NR % 10 == 1' | paste -sd'|'
made many.csv 98 2 30 "s * 3.6" "60" 0 0; draw residuals --in many.csv; texts picture.svg | tr '|' '\n' | grep ',.* [GC][0-9]' | tail -n 2
for size in "8 375" "6 501" "8 2500" "7 2858" "9 375"; do
  set -- $size; made big.csv $1 $2 1 "s * 30" "i / 60" "i / 1000" "s"; draw residuals --in big.csv; grep -A 1 'class="series"' picture.svg | grep -o 'stroke-width="[^"]*"' | uniq -c
done

echo "# units of the residuals"
made few.csv 3 5 30 90 45 "0.19" "0.3"; draw residuals --in few.csv; texts picture.svg | tr '|' '\n' | grep -E 'rms|residual|G0' | paste -sd'|'
draw residuals --in few.csv --of point; texts picture.svg | tr '|' '\n' | grep -E 'rms|residual|G0|0$' | paste -sd'|'

echo "# residuals of a fit"
{ echo "epoch_gpst,radial_m,along_m,cross_m,weight"; for i in 0 1 2 3 4 5 6 7; do echo "2021-01-18T00:0$i:00,0.0$i,-0.1$i,0.3,$((i % 4))"; done; echo "none,1,2,3,1"; } > fit.csv
draw residuals --in fit.csv; grep -A 1 'class="series"' picture.svg; texts picture.svg
draw residuals --in fit.csv --limit 0.16 --from 60; texts picture.svg | cut -d'|' -f2-7
cut -d, -f-4 fit.csv > plain.csv; draw residuals --in plain.csv --limit 0.3; texts picture.svg | cut -d'|' -f2-7
draw residuals --in fit.csv --from 9000
sed 's/cross_m/cross/' fit.csv > other.csv; draw residuals --in other.csv
draw residuals --in fit.csv --in plain.csv
for rows in 2000 2001; do
  awk -v n=$rows 'BEGIN { print "epoch_gpst,radial_m,along_m,cross_m"; for (i = 0; i < n; ++i) printf "2021-01-18T%02d:%02d:%02d,%d,0,0\n", i / 3600, i / 60 % 60, i % 60, i % 3 }' > long.csv
  draw residuals --in long.csv; grep -o 'stroke-width="[^"]*"' picture.svg | sort | uniq -c | paste -sd' '
done

echo "# dilution"
{ echo "mjd_gpst,sod_gpst,satellites,gdop"; for i in 0 1 2 3 4 5; do echo "59232,${i}0,$((i + 3)),$((i + 1)).5"; done; } > epochs.csv
draw satellites --in epochs.csv; cp picture.svg out/count.svg
for worst in 29.9 30.1; do sed "s/^59232,50.*/59232,50,4,$worst/" epochs.csv > wide.csv; draw satellites --in wide.csv; texts picture.svg | cut -d'|' -f4-; done
sed "s/^59232,20.*/59232,20,0,/; s/^59232,30.*/x,30,4,5/" epochs.csv > gaps.csv; draw satellites --in gaps.csv; grep -A 2 'class="series"' picture.svg
draw satellites --in epochs.csv --in two.csv; texts picture.svg
draw satellites --in epochs.csv --from 60
cut -d, -f-3 epochs.csv > short.csv; draw satellites --in short.csv

for letters in GRECJS GRECJSI GRECJSIII; do
  { echo "$head"; k=0; for s in $(echo $letters | sed 's/./& /g'); do for i in 1 2 3; do k=$((k + 1)); echo "$s$((10 + k)),59232,0,$((k * 53 % 360)),$((10 + k * 29 % 70)),0,0,1,1,,0,0,0,0"; done; done; } > systems.csv
  draw satellites --in systems.csv; grep -A 2 '<title>GDOP' picture.svg | grep path; texts picture.svg | grep -o '[0-9.,]* [0-9.]*|24.5,[0-9.]* GDOP'
done
made gaps.csv 1 12 30 "90 + i" "30 + i" 0 0; awk -F, -v OFS=, 'NR > 3 { $3 += 43.5 } NR > 6 { $3 += 46.5 } 1' gaps.csv > shifted.csv; sed -i '4,4d;7,8d' gaps.csv; draw sky --in gaps.csv; grep -A 3 'class="series"' picture.svg; draw sky --in shifted.csv; grep -A 3 'class="series"' picture.svg; draw satellites --in gaps.csv; grep -A 2 'class="series"' picture.svg
for first in 23:59:58.9 23:59:59.2; do { echo "epoch_gpst,radial_m,along_m,cross_m"; echo "2021-01-17T$first,1,2,3"; echo "2021-01-18T00:00:05,1,2,3"; } > early.csv; draw residuals --in early.csv; texts picture.svg | cut -d'|' -f2; draw residuals --in early.csv --to 60; texts picture.svg | cut -d'|' -f2; done

echo "# the sky"
made few.csv 6 9 30 "s * 60 + 9 * i" "s == 1 ? 85 + i : s == 2 ? -12 : s * 12 + (i > 4) * i" 0 0
sed -i '/^G03,59232,\(120\|150\|180\)\./d; s/^\(G04,59232,90.000\),[^,]*,/\1,,/' few.csv
draw sky --in few.csv; in_parts sky
draw sky --in few.csv --frame antenna --style tracks; sed -i '/class="sky"/,/<\/g>/d' picture.svg; in_parts antenna
draw sky --in few.csv --style density; sed -i '/class="sky"/,/<\/g>/d' picture.svg; in_parts density
made close.csv 7 12 30 "s * 2 + i" "40 + i + s" 0 0; draw sky --in close.csv; texts picture.svg | tr '|' '\n' | grep ' G' | paste -sd'|'
made turn.csv 2 3 600 "s * 10 + 100 * i" "s * 20 + 10 * i" 0 0; draw sky --in turn.csv; grep -A 2 'class="series"' picture.svg
for height in 20.9 22; do made turn.csv 1 2 30 "6.1 * i" "$height" 0 0; draw sky --in turn.csv; grep -A 1 'class="series"' picture.svg; done
for last in 7200 7201; do made long.csv 2 2 $last "s * 60 + i" 30 0 0; draw sky --in long.csv; texts picture.svg | cut -d"|" -f3-4; done
made busy.csv 3 200 30 "i < 150 ? s * 77 : i * 3" "i < 150 ? 30 : i / 3" 0 0; draw sky --in busy.csv --style density; texts picture.svg | tail -c 120; grep -o 'fill="#[0-9a-f]*"' picture.svg | sort | uniq -c
sed 's/^\(...,59232,[^,]*\),[^,]*,[^,]*,/\1,,,/' two.csv > undirected.csv; draw sky --in undirected.csv
draw sky --in epochs.csv
