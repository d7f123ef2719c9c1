# Pages of made-up tables: the data of the charts, tables of summaries, messages. In place of the charts' library stand two words.
mkdir -p charts/extras
printf '.dygraph {}\n/*# sourceMappingURL=elsewhere */\nstyle\n' > charts/dygraph.min.css
printf 'script\n//# sourceMappingURL=elsewhere\n' > charts/dygraph.min.js
printf 'synchronizer' > charts/extras/synchronizer.js
report() { leopod report --charts charts --out page.html "$@" > said; grep -v written: said; }
# without what is the same in all pages
body() { sed '/class="tools"/,/<.noscript>/d; /<style>/,/<\/style>/{/style\|dygraph\|sourceMapping/!d}; /^(function/,/^})/d; /<svg/,/<\/svg>/{/^<title>\|<svg/!d}' page.html; }
data() { sed -n '/id="data"/,/<\/script>/p' page.html; }

{ echo "mjd_gpst,sod_gpst,status,x_ecef_m,y_ecef_m,z_ecef_m,clock_GPS_m,clock_x,satellites,gdop,filter_x_ecef_m,filter_y_ecef_m,filter_z_ecef_m,filter_clock_GPS_m,filter_status"
  for i in 0 1 2 3 4 5 6 7 8 9; do echo "59232,$((86100 + 30 * i)),OK,7000003,$((i * 200000)).5,-4,$((i * i)).1234,$i,$((9 - i % 3)),1.$i,7000001,$((i * 200000)),0.5,-$i.5,SETTLING"; done
  echo "59232,86400,LACK<3,,,,,,3,,,,,,"; echo "59233,90,OK,7000003,2600000,0,1,2,4,25,7000001,2600000,0,1e14,OK"; } > epochs.csv
{ echo "satellite,mjd_gpst,sod_gpst,azimuth_deg,elevation_deg,antenna_azimuth_deg,antenna_elevation_deg,used_point,used_filter,slip,code_if_residual_m,phase_if_residual_m,range1_residual_m,range2_residual_m,status"
  for i in 0 1 2 3; do for s in 1 2 3 4 5 6 7; do echo "G0$s,59232,$((86100 + 30 * i)),$((s * 50)),$((s * 11)),0,0,1,$((s % 2)),,0.$s$i,0.00$s$i,0.1,0.2,$([ $s = 7 ] && echo LOW || echo OK)"; done; done
  echo "G01,59233,0,1,2,0,0,1,1,,,,,,OK"; echo "G02,59232,86100,1,2,0,0,1,1,,5,5,,,TWICE"; } > satellites.csv
{ echo "mjd_gpst,sod_gpst,x_m,y_m,z_m"; for i in 0 1 2 3 4 5 6 7 8 9 10 11 12 13; do echo "59232,$((86100 + 30 * i)),7000000,$((i * 200000)),0"; done; } > truth.csv
{ echo "epoch_gpst,x_ecef_m,y_ecef_m,z_ecef_m"; for i in 0 1 2 3 4 5; do echo "2021-01-18T23:5$((5 + i / 2)):$((i % 2 * 3))0,7000002,$((i * 200000)),0.25"; done; } > fit.csv
sed 's/7000002/7000000.5/' fit.csv > orbit.csv
{ echo "epoch_gpst,radial_m,along_m,cross_m,weight"; for i in 0 1 2 3 4 5; do echo "2021-01-18T23:55:$((i + 10)),0.0$i,-0.1$i,0.3,$((i % 3))"; done; } > residuals.csv
printf 'Warning: bad 1\nWARNING: bad 22.5\n\ninfo: <b>\nno level 7\nerror: lost\nno level 8\nno level 9\ndebug: d\ntrace: t\ncritical: c\ncritica: x\n' > run.log
echo '{"command": "fit", "command_line": "leopod fit a&b", "x": 1}' > fit.json

report --in epochs.csv --satellites satellites.csv --fit fit.csv --orbit orbit.csv --residuals residuals.csv --truth truth.csv --log run.log --summary fit.json --title 'A "page" & its <parts>'
body | split -l 110 -d - out/all.html.
report --in epochs.csv; body | grep -v '"name"\|pieces' ; data
report --in epochs.csv --fit fit.csv --from 86160 --to 86300; body | sed -n '/<body>/,/<.section>/p'; data | grep '"title":"\(Radial\|East\)'
report --fit fit.csv --truth truth.csv --command 'first & one' --command second --summary fit.json; body | sed -n '/<body>/,$p' | cut -c-600
report --orbit orbit.csv --fit fit.csv; body | sed -n '/<body>/,/<.section>/p'
report --satellites satellites.csv; body | sed -n '/<body>/,/<.section>/p'; data
grep -v G07 satellites.csv > six.csv; report --satellites six.csv; grep -c tall page.html
sed 's/T23:55:10/T23:59:59.2/' residuals.csv | sed -n '1,2p' > early.csv; report --residuals early.csv --from 2021-01-18T23:59:00 --to 2021-01-19T00:00:00; report --residuals early.csv --to 1; grep -o '<h1>.*<nav' page.html; data | head -n 1
leopod report --satellites satellites.csv --residuals residuals.csv --charts none --out page.html; body | sed -n '/<body>/,$p'
cut -d, -f-4 residuals.csv > plain.csv; report --residuals plain.csv; grep -c 'fit, radial</th><td class="n">6' page.html
report --residuals residuals.csv --residuals residuals.csv --interval 2; body | sed -n '/<body>/,/<.section>/p'; data
{ head -n 1 truth.csv; echo "59232,0,7000000,0,0"; } > site.csv; head -n 3 epochs.csv > still.csv; report --in still.csv --truth site.csv; body | sed -n '/<body>/,/<.section>/p'; data | head -n 5
: > empty.log; report --in epochs.csv --log empty.log; grep 'no messages' page.html
awk 'BEGIN { for (i = 0; i < 201; ++i) printf "info: kind %c%c\n", 97 + i % 26, 97 + int(i / 26) }' > long.log; report --in epochs.csv --log long.log; sed -n '/id="messages"/,/<.section>/p' page.html | tail -n 3
head -n 200 long.log > just.log; report --in epochs.csv --log just.log; sed -n '/id="messages"/,/<.section>/p' page.html | tail -n 3
for file in dygraph.min.css dygraph.min.js extras/synchronizer.js; do mv charts/$file kept; report --in epochs.csv; mv kept charts/$file; done
{ echo "mjd_gpst,sod_gpst,status,x_ecef_m,y_ecef_m,z_ecef_m,satellites,gdop,filter_x_ecef_m,filter_y_ecef_m,filter_z_ecef_m"; for i in 1 2; do echo "59232,$i,OK,1,2,3,4,2e$((i * 14)),1,2,3"; done; } > huge.csv; report --in huge.csv; data | tail -n 4

echo "# refused"
leopod report --out page.html
report --in epochs.csv --from 9999999
report --residuals residuals.csv --from 9999999
head -n 1 residuals.csv > none.csv; report --residuals none.csv
head -n 1 epochs.csv > none.csv; report --in none.csv
report --in truth.csv
report --satellites epochs.csv
report --in epochs.csv --truth site.csv --summary run.log
report --fit fit.csv --truth residuals.csv
sed 's/59232/59000/' truth.csv > old.csv; report --fit fit.csv --truth old.csv
report --in epochs.csv --log none.log
leopod report --in epochs.csv --out epochs.csv

echo "# summaries"
summary() { echo "$1" > made.json; report --orbit orbit.csv --summary made.json; sed -n '/<h3 class="command">/,/<.section>/p' page.html; }
rows() { awk -v n="$1" "BEGIN { for (i = 1; i <= n; ++i) printf(\"%s$2\", i > 1 ? \",\" : \"\"$3) }"; }
summary '{"command": "run", "layout_version": 2, "rms_along_m": 2.54321234, "share_percent": 99, "first_gpst": "a<b", "time_s": 1e-7, "at_utc": null, "C_m": true, "wide": 9999.96, "wider": 10000.4, "vast": 1e15, "list": [1, 2.5, "three", false], "long": "a text of more than 24 characters", "a_bdst": "x", "b_tt": "y", "_m": 1, "none": [], "empty": {}, "blank": ""}'
summary '{"settings": {"out": "x", "interval_s": 30}, "program": {"version": 1}, "inputs": [{"file": "a", "size": 1}, {"file": "b", "size": 22222}], "one": {"a": 1, "b": 2, "c": 3}, "more": {"a": 1, "b": 2, "c": 3, "d": 4}, "mixed": {"x": 1, "y": {"p": 1}, "z": {"p": 2}, "q": {"r": 1}, "seven": {"1": 1, "2": 2, "3": 3, "4": 4, "5": 5, "6": 6, "7": 7}, "six": {"1": 1, "2": 2, "3": 3, "4": 4, "5": 5, "6": 6}}}'
summary '{"same": {"aa": {"p_m": 1, "q": "x"}, "bb": {"p_m": 2.5, "q": "y"}}, "upright": {"aa": {"p": 1, "q": "x", "r": 3}, "bb": {"p": 2, "q": "y", "r": 4}}, "single": {"aa": {"p": 1}}, "uneven": [{"a": 1}, {"b": 2}], "lists": [[1, 2], [3, {"x": [4, {"y": 5}]}]], "holed": [{"a": 1}, {}, 3], "deep": [[[[[[[[[[[[[[1, [2, 3]]]]]]]]]]]]]]]}'
summary "{\"list\": [$(rows 12 '{\"a\": %d, \"b\": 1}' ', i')], \"folded\": [$(rows 13 '{\"a\": %d, \"b\": 1}' ', i')], \"members16\": [{$(rows 16 '\"m%d\": 1' ', i')}], \"members17\": [{$(rows 17 '\"m%d\": 1' ', i')}]}"
for n in 400 401; do
  summary "{\"numbers\": [$(rows $n 1)], \"table\": [$(rows $n '{\"a\": 1, \"b\": {}}')], \"mixed\": [$(rows $n '[{\"a\": 1}]')]}" | grep -o '.\{60\}more\|[0-9]* rows'
done
summary '[1, {"a": 2}]'
summary '"text"'
summary '{"command": 3, "command_line": 4}'
grep -c '<code>' page.html
