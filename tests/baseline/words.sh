# What is shown: names of files in messages of the library, characters of other alphabets, groups of messages, long lists, columns of a CSV.
gunzip -c tests/arc21/both.obs.gz | sed -n 1,42p > all.obs
for file in arc.nav attitude.txt zero.atx; do gunzip -c tests/arc21/$file.gz > $file; done
run() { command leopod run --eop examples/data/demo_eop.txt "$@" 2>&1; }
echo "--- names in messages of the library"
run --obs all.obs --nav <(cat arc.nav) --att <(cat attitude.txt) --atx <(cat zero.atx) --log-level info | grep -E '^INFO: (load_|read_)'
run --obs all.obs --nav <(sed 's/D-0/d-0/' arc.nav) --att <(cat attitude.txt) --log-level info | grep -E '^INFO: (load_e|load_at|obsf)'
run --obs <(sed -n 1,26p all.obs) <(sed 11,26d all.obs) --nav arc.nav --log-level info | grep -E '^INFO: (obsf)'
for level in trace debug info warning error critical off; do echo "$level: $(run --obs all.obs --nav arc.nav --att attitude.txt --log-level $level | grep -cE '^(TRACE|DEBUG|INFO|WARN|WARNING|ERROR|CRITICAL): ')"; done
run --obs all.obs --nav arc.nav --log-level loud
echo "--- groups of messages"
run --obs all.obs --nav arc.nav | sed -n '/^messages/,/^time/p' | grep -v ^time | cut -c 1-90
run --obs all.obs --nav <(sed '/^C/,/^G/{/^C/,+7d}' arc.nav) --att attitude.txt | sed -n '/^messages/,/^time/p' | grep -v ^time | cut -c 1-90
run --obs all.obs --nav <(awk '/^G0[137]/ { n = NR } NR == n + 6 && n { $0 = substr($0, 1, 23) " 1.000000000000D+00" substr($0, 43) } { print }' arc.nav) --att attitude.txt --atx zero.atx | sed -n '/^messages/,/^time/p' | grep -v ^time | cut -c 1-90
echo "--- characters"
for name in plain 'blank name' $'\xc3\xa9' $'\xe2\x82\xac' $'\xf0\x9d\x84\x9e' $'x\xc1y' $'x\xe2\x82' $'x\xc3(' $'x\xf5\x80\x80\x80' $'\x7f' $'t\tt' $'\xc2\xa0' $'\xdf\xbf' $'\xef\xbf\xbd' $'\xf4\x8f\xbf\xbf' $'\x80'; do
  head -n 2 tests/data/crinex1.crx > "$name"; command leopod run --obs "$name" --nav arc.nav 2>&1 | tail -n 1
done
printf 'H1 CRD 2 2021 01 27 09\nH2 ST\xc3\xa9\xff\x01 7000 34 02 4 NET\nH3 s\xe2\x82\xac 7603901 1155 8820 0 1 1\nH4 1 2021 01 26 10 00 00 2021 01 26 11 00 00 0 0 0 0 1 0 2 0\n11 36000 0.05 std 2 120 10 60 na na na 5 0 na\n' > file.crd; command leopod crd file.crd 2>&1 | grep -E 'session 1|target'
printf 'AS G05 2010 07 27 01 00 00.0 1 1.0E\x01\xe9-04\n' > tail.clk; { printf '%-20s%-40s%s\n' '     3.00' 'C                   G' 'RINEX VERSION / TYPE'; printf '%60s%s\n' '' 'END OF HEADER'; cat tail.clk; } > file.clk
command leopod run --obs all.obs --nav arc.nav --sp3 tests/data/sp3.sp3 --clk file.clk 2>&1 | tail -n 1
echo "--- columns"
circle() { awk 'BEGIN { for (i = 0; i <= 5; ++i) printf "%d,%.4f,%.4f,1000\n", 60 * i, 7e6 * cos(0.06 * i), 7e6 * sin(0.06 * i) }'; }
circle > circle.csv
csv() { echo "[${1:0:60}]"; { printf "$1"; circle | sed "${2:-}"; } > file.csv; command leopod orbit --compare file.csv circle.csv 2>&1 | sed '/^leopod orbit/d;/^ *r/d;s/^  diff/diff/' | cut -c 1-340; }
csv ''
csv '\xef\xbb\xbftime,x,y,z\n'
csv '# time,a,b,c\n\n"time","x","y","z"\r\n' 's/$/\r/;2s/^/# /;3s/^/\n/'
csv 'time;x;y;z\n'
csv 'time , x ,\ty, z\n' 's/,/ ,  /g;4s/^\([0-9]*\)/"\1"/'
csv 'time,x,y,z\n' '3s/,/,+/2'
csv '"a ""b"", c",sod,x,y,z\n' 's/^/"1,""2""",/'
csv 'x,y,z,sod\n' 's/\([^,]*\),\(.*\)/\2,\1/'
csv 'name,sod,x_rx,y_rx,z_rx,x_m,x_itrs\n' 's/\([^,]*\),\(.*\)/n,\1,\2,1,2/'
csv 'time,x_itrs,y_itrs,z_itrs,x\n' 's/$/,9/'
csv 'time,x_first,y_second,z_third\n'
csv 'time,x,y,z\n' '2s/,/,+-/;'
csv 'time,x,y,z\n' '2s/,/,inf/'
csv 'time,x,y,z\n' '2s/,/,0x1/'
csv 'time,x,y,z\n' '2s/\.[0-9]*,/,/;3s/\.[0-9]*,/.,/'
csv 'time,x,y,z\n\001\n'
csv "time,$(printf 'column_%d,' {1..40})\n"
command leopod plot satellites --in <(printf "time,$(printf 'column_%d,' {1..40})\n1,2\n") --out out.svg 2>&1
command leopod plot residuals --in <(printf '1,2,3\n') --out out.svg 2>&1
command leopod plot residuals --in <(printf '') --out out.svg 2>&1
command leopod plot residuals --in <(printf 'a\001,b,c\n') --out out.svg 2>&1
command leopod plot residuals --in examples/demo_orbit.cfg --out out.svg 2>&1
for word in rum fitt orbits simulat tides x; do command leopod $word 2>&1 | head -n 1; done
