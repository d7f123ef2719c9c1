# Times, spans and steps: each form of a date, the calendar over leap years, what is out of range.
at() { echo "[$*]"; command leopod tide --blh 50 10 0 "$@" 2>&1 | sed -n '1s/; a text such as.*/;/;1p'; }
for time in 2021-01-18T00:00:00 2021-01-18T00:00:00.0004 2021-01-18T00:00:00.0006 2021-01-18T23:59:59.9996 '2021-1-8 3:4:5' 2021-018T1:2:3 2021-365T23:59:59 2020-366T23:59:59 2021-01-18x00:00:00 ' 2021-01-18T24:00:00 ' \
  1973-01-01T00:00:00 2099-12-31T23:59:59 2000-02-29T12:00:00 2096-02-29T00:00:00 2024-12-31T24:00:00 2021-01-18T07:08:09.123456789012; do at --epoch "$time"; done
for time in '' x 2021 2021-01-18 21-01-18T00:00:00 20210-01-18T00:00:00 2021/01/18T00:00:00 2021-01-18T00:00 2021-01-18T00:00:00Z 2021-01-18T000:00:00 2021-01-18T00:00:00.x 2021-01-18T00:00:-1 2021-001-18T00:00:00 2021-1-018T00:00:00 2021-18T00:00:00 \
  2021-00-18T00:00:00 2021-13-18T00:00:00 2021-01-00T00:00:00 2021-01-32T00:00:00 2021-02-29T00:00:00 2100-02-29T00:00:00 2021-04-31T00:00:00 2021-06-31T00:00:00 2021-09-31T00:00:00 2021-11-31T00:00:00 2021-000T00:00:00 2021-366T00:00:00 2020-367T00:00:00 \
  2021-01-18T24:00:01 2021-01-18T24:01:00 2021-01-18T25:00:00 2021-01-18T00:60:00 2021-01-18T00:00:60 2021-01-18T00:00:61 1972-12-31T23:59:59 2100-01-01T00:00:00; do at --epoch "$time"; done
for time in 2016-12-31T23:59:60 2016-12-31T23:59:60.999 2016-12-31T23:59:61 2016-12-31T23:58:60 2016-12-31T22:59:60 2016-12-30T23:59:60 2015-06-30T23:59:60 2021-12-31T23:59:60; do at --time-scale utc --epoch $time; done
for scale in gpst utc tai tt gps; do at --time-scale $scale --epoch 2021-01-18T12:00:00; done
for year in 1973 1976 2000 2001 2048 2098; do
  echo "[$year]"; leopod tide --blh 50 10 0 --epoch $year-02-27T12:00:00 --duration 400000 --interval 86400 --out - 2> /dev/null | cut -d, -f 1-3
done
leopod tide --blh 50 10 0 --epoch 2021-01-01T18:00:00 --duration 31536000 --interval 2635200 --out - 2> /dev/null | cut -d, -f 1-3
echo "--- spans of a run"
demo=examples/data/demo
# whole seconds and minutes, a time tag a little beside the grid
span() { echo "[$*]"; command leopod run --embedded --obs ${demo}_bds.obs --nav ${demo}_bds.nav "$@" --out out.csv 2>&1 | grep -E '^(leopod: |span|epochs:)'; [ ! -f out.csv ] || { cut -d, -f 1-3 out.csv | sed -n '2p;$p'; rm out.csv; }; }
span --to 60
span --from 60 --to 60
span --from 60 --to 59
span --from 60 --to 60.05
span --from 60.04 --to 90.06
span --from 60.06 --to 90.04
span --from 2021-01-18T00:01:00 --to 2021-01-18T00:02:00.1
span --from 3600
span --from 3601
span --from -10 --to 30
span --from x
span --from 1e
span --to 2021
span --to inf
span --to 2021-01-18
span --to 1e2
span --to 2100-01-01T00:00:00
span --from 1972-01-01T00:00:00 --to 30
span --interval 600
span --interval 7
span --interval 45 --to 200
span --interval 29.7 --to 200
span --interval 29.3 --to 200
span --interval 0.01 --to 60
span --interval 5000
span --interval 90 --from 91 --to 1000
awk '/^> 2021/ { n = sprintf("%011.7f", $7 + (++k % 2 ? 0.04 : 0.06)); $0 = substr($0, 1, 18) n substr($0, 30) } { print }' ${demo}_bds.obs > beside.obs
span2() { echo "[$*]"; command leopod run --embedded --obs beside.obs --nav ${demo}_bds.nav "$@" --out out.csv 2>&1 | grep -E '^(leopod: |span|epochs:)'; [ ! -f out.csv ] || { cut -d, -f 1-3 out.csv | sed 1d | head -n 4; rm out.csv; }; }
span2 --interval 30 --to 200
span2 --interval 4 --to 400
span2 --interval 3 --to 400
echo "--- spans of tables"
late() { echo "[$*]"; command leopod orbit --compare $1 ${demo}_truth.csv 2>&1 | head -n 3; }
awk -F, -v OFS=, 'NR == 1 { print "mjd,sod,x,y,z" } NR > 1 { s = $3 + 86400 * 400; printf "%d,%.3f,%s,%s,%s\n", 59232 - 400, s, $6, $7, $8 }' ${demo}_truth.csv > shifted.csv
late shifted.csv
