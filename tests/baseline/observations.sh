# Observation files: the same three epochs of eight GPS and seven BeiDou satellites in each form, and damaged ones.
gunzip -c tests/arc21/both.obs.gz | sed -n 1,58p > all.obs
for file in arc.nav attitude.txt zero.atx; do gunzip -c tests/arc21/$file.gz > $file; done
take() {  # FILE ... [-- OPTIONS]
  local files=() ; while [ $# -gt 0 ] && [ "$1" != -- ]; do files+=("$1"); shift; done; shift
  command leopod run --obs "${files[@]}" --nav arc.nav --att attitude.txt --atx zero.atx --eop examples/data/demo_eop.txt "$@" --out out.csv 2>&1 |
    grep -E '^(leopod: |  observations|systems:|epochs:|note)'
  [ ! -f out.csv ] || { cut -d, -f 3-7,9- out.csv | cut -d, -f 1-8 | sed -n '2p;3!{$p}'; rm out.csv; }
}
say() { echo "[$1]"; shift; take "$@"; }
say 'as it is' all.obs
say 'with ends of lines' <(sed 's/$/\r/' all.obs)
body() { sed '1,/END OF HEADER/d' all.obs; }
head3() { printf '%-20s%-40s%s\n' "     ${1:-3.05}" "OBSERVATION DATA    ${2:-M}" "RINEX VERSION / TYPE"; }
types() { printf '%-60s%s\n' "$1" "SYS / # / OBS TYPES"; }
both() { types 'G    4 C1P L1P C2P L2P'; types 'C    4 C1P L1P C5P L5P'; }
first() { printf '%-60s%s\n' "  2021     1    18     0     0    0.0000000     ${1:-GPS}" "TIME OF FIRST OBS"; }
end() { printf '%60s%s\n' '' 'END OF HEADER'; }
# times of BeiDou: 14 s less
say 'BDT' <(head3; both; first BDT; end; body | awk '/^>/ { t = $6 * 60 + $7 - 14; d = 18; h = 0; if (t < 0) { t += 86400; d = 17; h = 23; $0 = sprintf("> 2021 01 %02d %02d %02d%11.7f  0 15", d, h, (t % 3600) / 60, t % 60) } else $0 = sprintf("> 2021 01 %02d %02d %02d%11.7f  0 15", d, h, t / 60, t % 60) } { print }')
for system in GAL QZS IRN GLO UTC XYZ '   '; do say "times $system" <(head3; both; first "$system"; end; body) | sed 4q; done
for version in 2.00 3.00 4.00 4.99 5.00 1.99; do say "version $version" <(head3 $version; both; end; body) | sed 4q; done
say 'no end' <(head3; both)
say 'no header' <(body)
say 'no types' <(head3; end; body)
# factors: of all types, of some
scale() { printf '%-60s%s\n' "$1" "SYS / SCALE FACTOR"; }
times() { awk -v f="$1" -v from="$2" '/^[GC]/ && substr($0, 1, 1) != from { l = substr($0, 1, 3); for (k = 0; k < 4; ++k) l = l sprintf("%14.3f  ", substr($0, 4 + 16 * k, 14) * f); $0 = l } { print }'; }
say 'factor 100 of all GPS types' <(head3; both; scale 'G  100'; end; body | times 10 C | times 10 C) -- --systems GPS
say 'factor 10 of a phase' <(head3; both; scale 'G   10   1 L2P'; scale 'C   10   2 C1P C5P'; end; body | awk '/^G/ { $0 = substr($0, 1, 51) sprintf("%14.3f", substr($0, 52, 14) * 10) } /^C/ { $0 = substr($0, 1, 3) sprintf("%14.3f", substr($0, 4, 14) * 10) substr($0, 18, 18) sprintf("%14.3f", substr($0, 36, 14) * 10) substr($0, 50) } { print }')
say 'factors that are none' <(head3; both; scale 'G    0'; scale 'G    1   1 C1P'; scale 'G      '; end; body)
# types that change on the way, by an event
say 'types in another order behind an event' <(head3; both; end; body | sed -n 1,16p; printf '>                              4  2\n'; types 'G    4 C2P L2P C1P L1P'; types 'C    5 S1P C1P L1P C5P L5P'; body | sed 1,16d | awk '/^G/ { $0 = substr($0, 1, 3) substr($0, 36, 30) "  " substr($0, 4, 30) } /^C/ { $0 = substr($0, 1, 3) sprintf("%14.3f  ", 45) substr($0, 4) } { print }')
say 'sixteen types' <(head3; types 'G   16 S1P S2P S1C S2C C1C L1C D1C C5Q L5Q D5Q S5Q C1P C2P'; types '       L1P L2P D1P'; types 'C    4 C1P L1P C5P L5P'; end
  body | awk '/^G/ { l = substr($0, 1, 3); for (k = 0; k < 11; ++k) l = l sprintf("%14.3f  ", 40); $0 = l substr($0, 4, 16) substr($0, 36, 16) substr($0, 20, 16) substr($0, 52, 14) "  " } { print }')
say 'flags' <(head3; both; end; body | awk '/^>/ { ++n; f = substr("016", n, 1); $0 = substr($0, 1, 31) f substr($0, 33) } { print }')
say 'an event of lines that end the file' <(head3; both; end; body | sed -n 1,32p; printf '>                              4 99\n'; printf 'x\n')
say 'an epoch without satellites, lines between epochs' <(head3; both; end; body | sed -n 1,16p; printf '> 2021 01 18 00 00 15.0000000  0  0\n'; printf 'what is this?\n\n \nG01\n'; body | sed 1,16d)
for date in '2021 13 18 00 00 30.0000000' '2021 02 29 00 00 30.0000000' '2021 01 18 25 00 30.0000000' '2021 01 18 -1 00 30.0000000' '2021 01 18 00 61 30.0000000' '2021 01 18 00 -1 30.0000000' '2021 01 18 00 00 61.1000000' '2021 01 18 00 00 -1.0000000' '2021 01 18 00 00  x' \
  '2021 01 18 00 00 60.0000000' '2021 01 17 24 00 30.0000000' '2021 01 18 00 60 30.0000000'; do
  say "$date" <(head3; both; end; body | sed "17s/.*/> $date  0 15/;33,\$d") | grep observations
done
say 'counts' <(head3; both; end; body | sed '1s/ 15$/ 14/;17s/ 15$/ 16/')
say 'counts that are none' <(head3; both; end; body | sed '1s/ 15$/ xx/;17s/ 15$/x/')
for bytes in 0 2 5 15 16 17 18 19 31 32 33 34; do say "cut $bytes" <(head3; both; end; body | head -c $((35 + 15 * 66 + 35 + 66 + 3 + bytes))) | grep -E '^(leopod|  obs|epochs)'; done
say 'cut behind an epoch line' <(head3; both; end; body | sed 17q) | grep observations
say 'other systems and numbers' <(head3; both; types 'R    2 C1C L1C'; types 'E    2 C1C L1C'; types 'J    1 C1C'; types 'I    1 C5A'; types 'S    1 C1C'; end
  body | awk '/^>/ { $0 = substr($0, 1, 32) " 24" } { print } /^C26/ { for (k = split("R01 E11 J02 I03 S20 G33 G00 C64 G 2", n, " "); k > 0; --k) printf "%s%14.3f  %14.3f\n", n[k], 24e6, 126e6 }')
many() { head3; types 'G    4 C1P L1P C2P L2P'; end; body | awk -v n=$1 '/^>/ { ++k; if (k < 3) print substr($0, 1, 32) sprintf("%3d", n + 8); for (i = 0; i < n && k < 3; ++i) printf "R%02d  20000000.000\n", i % 99 + 1 } k < 3 && /^G/ { print }'; }
for n in 100 191 192 193 199 200; do say "$n of another system first" <(many $n); done
say 'GPS alone' all.obs -- --systems GPS
say 'BDS, GPS' all.obs -- --systems bds,gps
say 'letters' all.obs -- --systems 'c g'
for systems in '' G,G GPS,XYZ X GPSBDS; do say "--systems $systems" all.obs -- --systems "$systems"; done
for codes in GPS:C1P,L1P,C2P,L2P 'g: c1p, l1p, c2p, l2p' GPS:C1P,L1P,C2P,L2P,C5Q GPS GPS: GAL:C1P,L1P,C2P,L2P GPS:L1P,C1P,C2P,L2P GPS:C1P,C1P,C2P,L2P GPS:C1P,L1P,L2P,L2P GPS:C1P,L1P,C2P,C2P GPS:C1P,L2P,C2P,L1P GPS:C1P,L1P,C1P,L1P GPS:C1P,L1P,C2P,L1P \
  GPS:C0P,L0P,C2P,L2P GPS:C1P,L1!,C2P,L2P GPS:C1P,L1P,C2PP,L2P GPS:C1C,L1C,C2P,L2P BDS:C1P,L1P,C5P,L5P; do
  say "--codes $codes" all.obs -- --codes "$codes" --to 30
done
say '--codes of both' all.obs -- --codes GPS:C1P,L1P,C2P,L2P BDS:C1P,L1P,C5P,L5P --to 30
say '--codes twice' all.obs -- --codes GPS:C1P,L1P,C2P,L2P G:C1P,L1P,C2P,L2P
say '--codes and --systems' all.obs -- --codes BDS:C1P,L1P,C5P,L5P --systems GPS
say 'in two parts' <(head3; both; end; body | sed -n 1,32p) <(head3; both; end; body | sed -n '17,$p')
body | sed -n '33,$p' > rest; body | sed -n 1,32p > begin
{ head3; both; end; cat rest begin; } > turned.obs; say 'times that go back' turned.obs
{ head3; both; end; cat begin; head3; both; first; end; cat rest; } > joined.obs; say 'one file behind the other' joined.obs
{ head3; both; end; cat begin; } > one.obs; { head3; both; end; cat begin rest | sed '18s/21811911.072/21811911.083/'; } > two.obs; say 'of two receivers' one.obs two.obs
{ head3; both; end; cat begin rest | sed '18s/21811911.072/21811911.081/'; } > two.obs; say 'of one' one.obs two.obs
{ head3; types 'C    4 C1P L1P C5P L5P'; end; body | grep -v ^G | sed 's/ 15$/  7/'; } > c.obs; { head3; types 'G    4 C1P L1P C2P L2P'; end; body | grep -v ^C | sed 's/ 15$/  8/'; } > g.obs; say 'parts without a satellite in common' g.obs c.obs
say 'no epoch' <(head3; both; end)
{ head3; both; end; body | sed 's/> 2021/> 1971/'; } > old.obs; say 'old' old.obs
echo "--- version 2"
v2head() { printf '%-20s%-40s%s\n' "     2.11" "OBSERVATION DATA    ${1:-M}" "RINEX VERSION / TYPE"; }
v2types() { printf '%-60s%s\n' "$1" "# / TYPES OF OBSERV"; }
v2() { body | grep -v ^C | awk -v letter="$1" -v extra="$2" '/^>/ { e = sprintf(" 21  1 18  0 %2d%11.7f  0  8", $6, $7); n = 0; next } { name[n] = letter substr($0, 2, 2); row[n++] = substr($0, 4) }
  n == 8 { for (k = 0; k < 8; ++k) e = e name[k]; if (extra) e = substr(e, 1, 29) sprintf("%3d", 8 + extra) substr(e, 33); for (k = 0; k < extra; ++k) { if (8 + k == 12) e = e sprintf("\n%32s", ""); e = e sprintf("R%02d", k + 1) } print e
  for (k = 0; k < 8; ++k) { printf "%s", row[k]; if (extra) printf "%-14.3f\n%14.3f", 20.0, 21.0; printf "\n" } for (k = 0; k < extra; ++k) print "\n" }'; }
say 'P1 L1 P2 L2' <(v2head; v2types '     4    P1    L1    P2    L2'; first; end; v2 G)
say 'without a letter' <(v2head G; v2types '     4    P1    L1    P2    L2'; end; v2 ' ')
say 'C1 L1 P2 L2' <(v2head; v2types '     4    C1    L1    P2    L2'; end; v2 G)
say 'C1 L1 C2 L2' <(v2head; v2types '     4    C1    L1    C2    L2'; end; v2 G)
say 'CA LA P2 L2' <(v2head; v2types '     4    CA    LA    P2    L2'; end; v2 G)
say 'P1 L1 P2 L9 X1 C0' <(v2head; v2types '     6    P1    L1    P2    L9    X1    C0'; end; v2 G 1)
say 'more than twelve satellites, two lines each' <(v2head; v2types '     6    P1    L1    P2    L2    S1    S2'; end; v2 G 9)
say 'ten types' <(v2head; v2types '    10    P1    L1    P2    L2    S1    S2    D1    D2    C1'; v2types '          C2'; end; v2 G 9)
say 'a damaged line of names' <(v2head; v2types '     4    P1    L1    P2    L2'; end; v2 G | sed '10s/^ 21  1/ 21  x/')
say 'shifted' <(v2head; v2types '     4    P1    L1    P2    L2'; end; v2 G | sed '10s/^ /x/;19s/^ 21 / 21x/')
say 'cut' <(v2head; v2types '     4    P1    L1    P2    L2'; end; v2 G | head -c 1000)
