# Ground tracks on the map, and pictures handed to gnuplot, of which a stand-in keeps what it is told.
# file, rows, step, and longitude and latitude of row i; the latitude is geodetic at the equator and the poles
made() {
  awk -v n="$2" -v d="$3" "BEGIN { print \"mjd_gpst,sod_gpst,x_ecef_m,y_ecef_m,z_ecef_m\"; r = 3.14159265358979 / 180; for (i = 0; i < n; ++i) { l = ($4) * r; b = ($5) * r
    printf(\"59232,%.3f,%.4f,%.4f,%.4f\n\", i * d, 7e6 * cos(b) * cos(l), 7e6 * cos(b) * sin(l), 7e6 * sin(b)) } }" > "$1"
}
without_coast() { sed '/class="coast"/,/<\/g>/d' picture.svg; }
draw() { leopod plot track "$@" --out picture.svg > said; grep -v plot: said; }
made east.csv 20 60 "-170 + 20 * i" "0"
draw --in east.csv; without_coast > out/east.svg; grep -A 1 'class="coast"' picture.svg | cut -c-600
made west.csv 12 60 "-150 - 10 * i" "3 * i - 10"
made pole.csv 9 60 "i < 4 ? 40 : 220" "i < 4 ? 80 + 2.5 * i : 100 - 2.5 * i"
made short.csv 3 60 "10 + i" "10"
made edge.csv 3 60 "170 + 10 * i" "20"
made gap.csv 24 60 "4 * i" "i * i / 9"; sed -i '8,12d;16,19d' gap.csv
made alone.csv 1 60 "30" "40"
draw --in west.csv --in pole.csv=over_the_pole --in short.csv --in edge.csv --in gap.csv --in "alone.csv=A name that is too long for the legend beside the map" --title "Six & more"
without_coast | tail -n +15 > out/six.svg
draw --in east.csv --in west.csv --from 300 --to 2021-01-18T00:10:00 --interval 120; grep -A 8 'class="series"' picture.svg
made dense.csv 3000 1 "i / 1000" "i / 2000"; draw --in dense.csv; grep -A 12 'class="series"' picture.svg | cut -c-2000
awk -F, -v OFS=, 'NR > 5 { $2 += 237 } NR > 9 { $2 += 243 } 1' east.csv > gaps.csv; draw --in gaps.csv; grep -A 2 'class="series"' picture.svg
for wide in 23.51 23.55; do made arrow.csv 5 60 "i / 4 * $wide" 0; draw --in arrow.csv; grep -c '<path fill="#0072b2"' picture.svg; done
draw --in east.csv --from 9000
draw --in east.csv --in west.csv:point

echo "# handed to gnuplot"
mkdir bin; export PATH=$PWD/bin:$PATH
gnuplot_that() { { echo '#!/bin/bash'; echo 'cat > told.txt; file=$(sed -n "s/^set output .\(.*\).$/\1/p" told.txt)'; echo "$1"; echo "sed -i 's:/proc/[0-9]*/fd/[0-9]*:PLACE:' told.txt"; } > bin/gnuplot; chmod +x bin/gnuplot; hash -r; }
whole="printf 'PNG and more%bIEND%b' '\\0\\0\\0\\0' '\\0256B\`\\0202' > \"\$file\""
gnuplot_that "$whole"
{ echo "satellite,mjd_gpst,sod_gpst,azimuth_deg,elevation_deg,antenna_azimuth_deg,antenna_elevation_deg,used_point,used_filter,slip,code_if_residual_m,phase_if_residual_m,range1_residual_m,range2_residual_m"
  for s in $(seq 66); do printf "G%02d,59232,%d,%d,%d,0,0,1,1,,0.%02d,0.0%02d,0.1,0.2\n" $s $s $((s * 5)) $s $s $s; done; } > satellites.csv
leopod plot residuals --in satellites.csv --out "it's.png"; sed '/set label .*G[0-9]/d' told.txt | awk '/with points|with circles/ || NR < 60' | cut -c-3000 > out/residuals.txt; tail -c 4 "it's.png" | od -An -tx1
grep -n "set label .*G0" told.txt | head -n 3
awk -F, -v OFS=, 'NR > 1 { $4 += 5; $5 -= NR } 1' east.csv > wrong.csv; leopod plot errors --truth east.csv --in wrong.csv --out picture.png; grep -v label told.txt > out/errors.txt; grep label told.txt | head -n 5
for fault in "$whole; exit 1;" 'printf "a file without an end" > "$file"' 'printf IEND > "$file"' "true"; do
  gnuplot_that "$fault"; leopod plot track --in east.csv --out fault.png; ls | grep fault.png
done
