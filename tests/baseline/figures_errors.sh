# Errors of made-up positions at a site at rest on the equator: x is up, y east, z north.
echo "mjd_gpst,sod_gpst,x_ecef_m,y_ecef_m,z_ecef_m" > head
{ cat head; echo "59232,0,6378137,0,0"; } | tee truth.svg > truth.csv
# file, rows, first second, step, and the errors east, north and up of row i
made() {
  { cat head; awk -v n="$2" -v s="$3" -v d="$4" "BEGIN { for (i = 0; i < n; ++i) { t = s + i * d; day = int(t / 86400)
    printf \"%d,%.3f,%.6f,%.6f,%.6f\n\", 59232 + day, t - 86400 * day, 6378137 + ($7), $5, $6 } }"; } > "$1"
}
texts() { sed -nE 's/<text x="([^"]*)" y="([^"]*)"[^>]*>(.*)<\/text>/\1,\2 \3/p' "$1" | paste -sd'|'; }
heights() { texts picture.svg | tr '|' '\n' | grep -vE '^20,|,(313.1|629.1|333.5) ' | cut -d, -f2 | paste -sd'|' | sed 's/|[0-9.]* \(East\|North\|Up\)\(|.*\)*$//'; }
errors() { leopod plot errors --truth truth.csv --out picture.svg "$@" > said; grep -v plot: said; }

echo "# axes of time"
for span in 1 3 8 40 150 700 1600 4000 9000 30000 70000 86400 172800 260000 1000000 5000000 30000000 200000000 900000000; do
  made a.csv 3 7 $((${span%.*} / 2)).15 "i" 0 0
  errors --in a.csv --layout total
  texts picture.svg | cut -d'|' -f5- | sed 's/|63,.*//'
done
made a.csv 5 86340 30 "i" 0 0; errors --in a.csv --layout total; texts picture.svg
made a.csv 25 0 3600 "i" 0 0; errors --in a.csv --layout total; texts picture.svg
made a.csv 24 0 3599.9 "i" 0 0; errors --in a.csv --layout total; texts picture.svg

echo "# axes of length, units, texts of the rms"
for size in 0 1e-6 3e-5 7e-4 0.0099 0.01 0.0994 0.0997 0.199 0.2001 0.6 1.7 9.99 9.996 40 700 12345 3e6; do
  made a.csv 4 0 30 "$size * (i - 1)" 0 0; errors --in a.csv --layout components; heights
  made a.csv 4 0 30 "$size" "$size" "$size"; errors --in a.csv --layout total --log; heights
done
for far in 1 2; do made a.csv 51 0 30 "i < $far ? 5 : 0.01" 0.01 0.01; errors --in a.csv; heights; done

echo "# limits and what lies beyond, decades"
made a.csv 9 0 30 "(i - 4) * 0.25" "0.5" "i == 3 ? -3 : 0"
for limit in 0.1 0.5 0.75 1 5; do
  errors --in a.csv --limit $limit --layout solutions; texts picture.svg | grep -o '[0-9]* values* [^|]*'; heights
  errors --in a.csv --limit $limit --log --layout total; heights
done
errors --in a.csv --limit 0.6 --layout solutions; grep -A 2 'class="series"' picture.svg
errors --in a.csv --limit 0.6 --layout total,components --log; grep -A 2 'class="series"' picture.svg
made a.csv 9 0 30 "10^(i - 5)" 0 0; errors --in a.csv --log --layout total,components; heights

echo "# widths of lines"
for rows in 600 601 2000 2001; do
  made a.csv $rows 0 1 "i % 7" 0 0; errors --in a.csv --layout total; grep -o 'stroke-width="[0-9.]*"' picture.svg | sort | uniq -c
done

echo "# scales that are shared and not"
made a.csv 9 0 30 "i" "i" "i * 0.18"; errors --in a.csv; texts picture.svg
made a.csv 9 0 30 "i" "i" "i * 0.16"; errors --in a.csv; heights
made b.csv 9 0 30 "-i" "i" "i - 4"; errors --in a.csv=one --in b.csv --layout solutions; texts picture.svg

echo "# room for names"
made a.csv 4 0 30 "i" 0 0
for name in "ijl.,:;'| ijl" "ftr()[]Iftr-" "mwMW@%mwMW@%" "ABCDEFXYZABC" "abcdezéü0123" "a name of 26 letters, which" "a name of 27 letters, which i" "ééééééééééééééééééééééééééééééé" "MMMMMMMMMMMMMMMMMMMMM"; do errors --in "a.csv=$name" --layout total; texts picture.svg | tr '|' '\n' | tail -n 2 | paste -sd'|'; done
for title in "$(printf 'T%.0s' $(seq 60))" "$(printf 'T%.0s' $(seq 70))" "$(printf 'é%.0s' $(seq 90))"; do errors --in a.csv --title "$title" --layout total; texts picture.svg | cut -d'|' -f1; done
errors --in a.csv=$(printf 'n%.0s' $(seq 90)) --title $'tab\there\x01\xff' --layout total; texts picture.svg | cut -d'|' -f1,2

echo "# files and names"
made a.csv 9 0 30 "i % 3" "(i == 4) * 2" "0.3 * i"
made b.csv 9 600 30 "i % 2" "1" "-0.2 * i"
made c.csv 1 450 30 1 2 3
made d.csv 16 0 30 "i" 1 1; sed -i '5,5d;9,10d;12,12d' d.csv; errors --in d.csv --layout total; grep -A 2 'class="series"' picture.svg
{ cat head; for t in 0 30 60 133.5 163.5 193.5 223.5 300 330 360; do echo "59232,$t,6378137,1,$t"; done; } > d.csv; errors --in d.csv --layout total; grep -A 2 'class="series"' picture.svg
errors --in a.csv --in b.csv --in c.csv --layout components,total,solutions --title "A title that is longer than the picture is wide, which is told by an ellipsis at its end, and goes on and on"
grep -A 2 'class="series"' picture.svg > out/three.txt; texts picture.svg; grep -A 30 'class="legend"' picture.svg > out/legend.txt
sed -i '5,6d' a.csv; errors --in a.csv --log; grep -A 2 'class="series"' picture.svg; texts picture.svg
errors --in a.csv=1 --in a.csv=2 --in a.csv=3 --in a.csv=4 --in a.csv=5 --in a.csv=6 --in a.csv=7 --layout total; grep -o 'stroke="[^"]*"' picture.svg | uniq -c
errors --in a.csv --from 90 --to 2021-01-18T00:03:00 --interval 60; texts picture.svg
errors --in a.csv --from 9000
errors --in a.csv --layout total,totals
errors --in a.csv --layout ""
errors --in none.csv
errors --in a.csv:filter
errors --in head
leopod plot errors --truth none.csv --in a.csv --out picture.svg
leopod plot errors --truth truth.csv --in a.csv --out picture.pdf
leopod plot errors --truth truth.csv --in a.csv --out .svg
leopod plot errors --truth truth.svg --in a.csv --out truth.svg
leopod plot errors --truth truth.csv --in a.csv --out - > standard_output; cmp standard_output picture.svg
