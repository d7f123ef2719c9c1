# Precise products: orbits and clocks in each form, joined, cut, with gaps and strays; the position of one real epoch tells what was used.
grace=examples/data/grace_b
gunzip -c $grace/grcb2080_01h05h.10d.gz | sed 33q > one.crx  # 2010-07-27 01:00:00
gunzip -c $grace/cod15942_excerpt.sp3.gz | sed '/^PG\(0[12349]\|11\|12\|14\|15\|1[78]\|2\|3\)/d' > all.sp3
gunzip -c $grace/finals_2010_07.txt.gz > eop.txt
gunzip -c $grace/gps_satellites_2010208.atx.gz > all.atx
run() {  # OPTIONS
  command leopod run --obs one.crx --eop eop.txt --sigma-phase 0.05 "$@" --out out.csv 2>&1 |
    grep -E '^(leopod: |  (precise|satellite ant|antennas|note|navig)|note|epochs:|.*values that|  (precise|no precise))' | sed '/prepared deployment/d;s/, 2010-07-26T22:00:00 to 2010-07-27T07:45:00, all of the arc//'
  [ ! -f out.csv ] || { cut -d, -f 4-9 out.csv | sed 1d; rm out.csv; }
}
say() { echo "[$1]"; shift; local files=(); while [ $# -gt 0 ] && [ "$1" != -- ]; do files+=("$1"); shift; done; shift; run --sp3 "${files[@]}" "$@"; }
change() { echo "[$1]"; sed "$1" all.sp3 > changed.sp3; run --sp3 changed.sp3; }
say 'as it is' all.sp3
say 'ends of lines' <(sed 's/$/\r/' all.sp3)
say 'version a' <(sed '1s/#c/#a/;s/^PG0/P  /;s/^PG/P /' all.sp3)
say 'in two files' <(sed '/7 27  2  0/,$d' all.sp3; echo EOF) <(sed '23,/7 27  1 45/d' all.sp3)
say 'one behind the other' <(sed '/7 27  2  0/,$d' all.sp3; echo EOF; sed '23,/7 27  1 45/d' all.sp3)
say 'goes on behind EOF' <(sed '/7 27  2  0/,$d' all.sp3; echo EOF; sed '1,/7 27  1 45/d' all.sp3)
change '/^EOF/d'
change '13s/GPS/GAL/'
change '13s/GPS/UTC/'
change '13s/GPS/ccc/'
change '1s/#c/#e/'
change '1d'
echo '[nothing]'; sed 22q all.sp3 > changed.sp3; run --sp3 changed.sp3
echo '[other day]'; sed 's/^\*  2010/*  2011/' all.sp3 > changed.sp3; run --sp3 changed.sp3
echo "--- around the epoch"
from() { awk -v a=$1 -v b=$2 '/^\*/ { t = ($4 == 26 ? 0 : 24) + $5 + $6 / 60 - 24; take = t >= a && t <= b } NR <= 22 || take || /^EOF/'; }
for span in '-2 8' '-0.25 8' '0 8' '0.75 8' '1 8' '1.25 8' '-2 2.25' '-2 2' '-2 1.25' '-2 1' '-2 0.75' '3 8'; do set -- $span; from $1 $2 < all.sp3 > changed.sp3; echo "[$span]"; run --sp3 changed.sp3; done
node() { awk -v from=$1 -v to=$2 -v x=$3 -v clock=$4 '/^\*/ { t = ($4 == 26 ? 0 : 24) + $5 + $6 / 60 - 24 } /^PG05/ && t >= from && t <= to { if (x == "0") $0 = "PG05      0.000000      0.000000      0.000000" substr($0, 47); else if (x != "-") $0 = sprintf("PG05%14.6f%s", substr($0, 5, 14) + x, substr($0, 19));
  if (clock != "-") $0 = substr($0, 1, 46) sprintf("%14.6f", clock) } { print }' all.sp3 > changed.sp3; echo "[$*]"; run --sp3 changed.sp3; }
node 1 1 0 -
node 1 1 0.018 -
node 1 1 0.022 -
node 1 1 -1000 -
node 0 0 5 -
node -2 -2 5 -
node -1.25 -1.25 5 -
node 0.5 1 5 -
node 0.25 1 5 -
node -1.5 8 0.5 -
node -2 8 0 -
node 1 1 - 999999.999999
node 1 1.25 - 999999.999999
node 0.5 0.75 - 999999.999999
node 1.25 1.75 - 999999.999999
node 1.25 2 - 999999.999999
node -2 8 - 999999.999999
node 1 1 - 1000001
node 1 1 - 999999
node -2 8 70000 -
node -2 8 100000 -
echo "--- clocks"
clk() { printf '%-20s%-40s%s\n' '     3.00' 'C                   G' 'RINEX VERSION / TYPE'; [ -z "$3" ] || printf '   %-57s%s\n' "$3" 'TIME SYSTEM ID'; printf '%60s%s\n' '' 'END OF HEADER'
  awk -v step=$1 -v shift=$2 '/^\*/ { d = $4; s = $5 * 3600 + $6 * 60; next } /^PG/ && d == 27 && s == 3600 { for (t = 1800; t <= 5400; t += step) printf "AS %s  2010 07 27 %02d %02d %9.6f  1   %19.12E\n", substr($0, 2, 3), t / 3600, t % 3600 / 60, t % 60, (substr($0, 47, 14) + shift) * 1e-6 }' all.sp3; }
clk 300 0.001 > all.clk
say 'clocks' all.sp3 -- --clk all.clk
say 'clocks of 30 s' all.sp3 -- --clk <(clk 30 0.002)
say 'of two steps' all.sp3 -- --clk all.clk <(clk 30 0.002)
say 'named GPS' all.sp3 -- --clk <(clk 300 0.001 GPS)
say 'named UTC' all.sp3 -- --clk <(clk 300 0.001 UTC)
say 'a gap' <(sed 's/^\(PG.\{43\}\).*/\1999999.999999/' all.sp3) -- --clk <(grep -v '01 00' all.clk)
say 'larger gaps' <(sed 's/^\(PG.\{43\}\).*/\1999999.999999/' all.sp3) -- --clk <(grep -v 'G0[568].* 0[01] \(55\|00\|05\)' all.clk)
say 'without one' <(sed 's/^\(PG.\{43\}\).*/\1999999.999999/' all.sp3) -- --clk <(grep -v G05 all.clk)
say 'none' <(sed 's/^\(PG.\{43\}\).*/\1999999.999999/' all.sp3)
say 'impossible' <(sed 's/^\(PG.\{43\}\).*/\1999999.999999/' all.sp3) -- --clk <(sed '/G05/s/E-0[0-9]/E+04/' all.clk)
for change in 's/  1   /  3   /' 's/  1   /  0   /' 's/  1   /  x   /' '5s/E-0[0-9]/E-0x/' '5s/ 1 .*/ 1/' 's/^AS G/AS R/' 's/ 2010 / 2009 /' '5s/2010 07/2010 17/' '1s/C/O/' '2d'; do say "$change" all.sp3 -- --clk <(sed "$change" all.clk) | sed 4q; done
say 'cut' all.sp3 -- --clk <(head -c 2000 all.clk)
say 'more than a row holds' all.sp3 -- --clk <(clk 0.4 0.001 | grep -v 'G0[678]\|G1')
echo '[alone]'; run --clk all.clk
echo "--- antennas"
say 'centres' all.sp3 -- --sp3-antenna all.atx
say 'one without' all.sp3 -- --sp3-antenna <(sed 's/^\(BLOCK.*\)G05/\1G99/' all.atx)
say 'not valid' all.sp3 -- --sp3-antenna <(sed 's/^  20\(0[0-9]\|10\)\(.*VALID FROM\)/  2012\2/' all.atx)
say 'one band' all.sp3 -- --sp3-antenna <(sed 's/G02  /G05  /' all.atx)
for change in '1s/ANTEX/ANTIX/' '/VALID FROM/s/  20/  x0/' '/VALID FROM/s/^  20/  19/' '/VALID FROM/s/^ ...../  1969/' '/START OF ANT/d' 's/^ *\([0-9. -]*\)NORTH/  x NORTH/'; do say "$change" all.sp3 -- --sp3-antenna <(sed "$change" all.atx) | sed 5q; done
