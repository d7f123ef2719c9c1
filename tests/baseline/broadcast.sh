# Broadcast ephemerides: the same records in each form, damaged, repeated, far away and too many; the position of one epoch tells what was used.
gunzip -c tests/arc21/both.obs.gz | sed '11,26d;43,$d' > all.obs
for file in arc.nav attitude.txt zero.atx; do gunzip -c tests/arc21/$file.gz > $file; done
say() {  # NAME FILE ... [-- OPTIONS]
  local files=(); echo "[$1]"; shift; while [ $# -gt 0 ] && [ "$1" != -- ]; do files+=("$1"); shift; done; shift
  command leopod run --obs all.obs --nav "${files[@]}" --att attitude.txt --atx zero.atx --eop examples/data/demo_eop.txt "$@" --out out.csv 2>&1 |
    grep -E '^(leopod: |  navigation|note|impossible|epochs:|.*values that|  .*(broadcast record|ranges contra))' | grep -v 'prepared deployment'
  [ ! -f out.csv ] || { cut -d, -f 4-9 out.csv | sed 1d; rm out.csv; }
}
head() { printf '%-20s%-40s%s\n' "     ${1:-3.04}" "N: GNSS NAV DATA    ${2:-M}" 'RINEX VERSION / TYPE'; }
end() { printf '%60s%s\n' '' 'END OF HEADER'; }
records() { sed '1,4d' arc.nav; }
near() { records | awk '/^[GC]/ { take = $5 + 24 * ($4 == 18) >= 24 && $4 == 18 && $5 < 1 } take'; }  # of midnight
version4() { awk '/^G/ { print "> EPH " substr($0, 1, 3) " LNAV" } /^C/ { print "> EPH " substr($0, 1, 3) (++n % 2 ? " D1" : " D2") } { print }'; }
version2() { sed -n '/^G/,$p' | awk '/^[GC]/ { g = /^G/ } !g { next } /^G/ { printf "%2d %02d %2d %2d %2d %2d%5.1f%s\n", substr($0, 2, 2), substr($0, 7, 2), $3, $4, $5, $6, substr($0, 22, 2), substr($0, 24); next } { print substr($0, 2) }'; }
{ head; end; near; } > near.nav
say 'all records' arc.nav
say 'those of midnight' near.nav
say 'with ends of lines' <({ head; end; near; } | sed 's/$/\r/')
say 'with ends of lines, comments, empty lines' <({ head; end; near; } | awk '{ print $0 "\r"; print ""; printf "%-60sCOMMENT\n", "what" }')
say 'version 4' <({ head 4.00; end; near | version4; })
say 'other messages' <({ head 4.00; end; printf '> EOP G01 LNAV\nG01 2021 01 18\n> STO X\n> ION G01 LNAV\n    2021 01 18 00 00 00 1.0E-08 2.0E-08 3.0E-08\n     4.0E-08 5.0E+04 6.0E+04 7.0E+04\n     8.0E+04\n'; near | version4; near | sed 's/^/x/;s/^x//' | awk '/^[GC]/ { print "> EPH " substr($0, 1, 3) (/^G/ ? " CNAV" : " CNV1") } { print }'; })
say 'version 2' <({ head 2.11; end; near | version2; })
say 'version 2 beside 3' <({ head 2.11; end; near | version2; }) <({ head; end; near | grep -v nothing | awk '/^[GC]/ { c = /^C/ } c'; })
say 'version 2 with an ionosphere' <({ head 2.11; printf '%-60s%s\n' '    1.0245D-08  1.4901D-08 -5.9605D-08 -1.1921D-07' 'ION ALPHA' '    8.8064D+04  4.9152D+04 -1.3107D+05              ' 'ION BETA'; end; near | version2; }) near.nav
for year in 80 79 99 00 78; do say "year $year" <({ head 2.11; end; near | version2 | awk -v y=$year 'NR <= 8 { if (NR == 1) $0 = substr($0, 1, 3) y substr($0, 6) } { print }'; }) -- --systems GPS; done
for version in 1.99 2.00 4.99 5.00; do say "version $version" <({ head $version; end; near; }) | sed 2q; done
say 'no end' <({ head; near; })
say 'empty' <({ head; end; })
say 'other systems' <({ head; end; near | sed 's/^G/E/'; })
damage() { say "$1" <({ head; end; near | sed "$1"; }) | sed '/^epochs/d;/^sat/d;s/, 2021-.*//'; }
for change in '1s/^G01/G 1/' '1s/^G01/G00/' '1s/^G01/Gx1/' '1s/^G01 /G01x/' '1s/2021/    /' '1s/ 01 18/ 13 18/' '1s/ 00 00-/ 00 xx-/' '1s/D-04/Q-04/' '1s/D-04/d-04/' '2s/D/d/g' '3,4d' '2s/^    /  x /' '2s/1.900000000000D+01/                   /' '5s/2.712052243097D+02/                  /' \
  '6s/2.141000000000D+03/                  /' '6s/1.000000000000D+00/                  /' '7s/2.000000000000D+00/                  /' '6s/2.141000000000D+03/2.14100000000xD+03/' '8s/4.000000000000D+00//' '8s/4.000000000000D+00/x/' '8d' '8s/$/\n     1.0/' '4s/D/E/g' '1s/-4.669/ 4.669/;2s/ 1.9/+1.9/'; do damage "$change"; done
say 'cut' <({ head; end; near | sed 's/D/E/g'; } | command head -c 1500)
echo "--- impossible values"
value() { say "$1 $4" <({ head; end; near | awk -v line=$2 -v field=$3 -v value=$4 'NR == line { $0 = substr($0, 1, 4 + 19 * field) sprintf("%19.12E", value) substr($0, 24 + 19 * field) } { print }'; }) | sed '/^  navigation/d;/^epochs/d'; }
value axis 3 3 3162
value axis 3 3 3163
value axis 3 3 10000
value axis 3 3 10001
value 'eccentricity' 3 1 0.99
value 'eccentricity' 3 1 0.991
value 'eccentricity' 3 1 -0.001
value 'clock' 1 1 1
value 'clock' 1 1 -1.001
value 'drift' 1 2 1e-6
value 'drift' 1 2 -1.01e-6
value 'drift rate' 1 3 1e-12
value 'drift rate' 1 3 1.01e-12
echo "--- what serves"
value 'unhealthy' 7 1 1
value 'issue' 2 0 1024
value 'issue' 2 0 1023
value 'issue' 2 0 -1
value 'two hours' 4 0 93630
value 'two hours and two seconds' 4 0 93632
value 'two hours early' 4 0 79230
value 'two hours and two seconds early' 4 0 79228
value 'a week' 6 2 2142
value 'a week later' 6 2 2140
say 'the week before, near its limit' <({ head; end; near | awk 'NR == 4 { $0 = substr($0, 1, 4) sprintf("%19.12E", 684029.6) substr($0, 24) } NR == 6 { $0 = substr($0, 1, 42) sprintf("%19.12E", 2140) substr($0, 62) } { print }'; }) | grep -v navig
bds() { awk '/^C07/ { n = NR } { if (NR == n + 3 && n && !done) { done = 1; $0 = substr($0, 1, 4) sprintf("%19.12E", '$1') substr($0, 24) } print }'; }
say 'one hour' <({ head; end; near | bds 90016; }) 
say 'one hour and two seconds' <({ head; end; near | bds 90018; }) 
echo "--- many"
many() { awk -v n=$1 -v step=$2 '/^[GC]/ { keep = /^G01/ } { if (NR <= 8) r[NR] = $0; print } END { for (k = 1; k <= n; ++k) { t = 3600 + step * k; d = 18 + int(t / 86400); t %= 86400; printf "%s%02d %02d %02d %02d%s\n", substr(r[1], 1, 12), d, t / 3600, t % 3600 / 60, t % 60, substr(r[1], 24); for (i = 2; i <= 8; ++i) print r[i] } }'; }
say 'a hundred of one satellite' <({ head; end; near | many 99 60; }) 
say 'one more' <({ head; end; near | many 100 60; }) 
say 'many far away' <({ head; end; near | many 200 200; }) 
say 'the same twice, and too many' <({ head; end; near | many 60 200; }) <({ head; end; near | many 60 200; })
say 'the same twice' near.nav near.nav
