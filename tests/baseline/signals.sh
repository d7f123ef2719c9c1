# Which signals are taken: each set alone, the preferred ones of several, those that most satellites have; more satellites than an epoch holds.
gunzip -c tests/arc21/both.obs.gz | sed -n 1,58p > all.obs
for file in arc.nav attitude.txt zero.atx; do gunzip -c tests/arc21/$file.gz > $file; done
run() { command leopod run "$@" --nav arc.nav --att attitude.txt --atx zero.atx --eop examples/data/demo_eop.txt --out out.csv 2>&1 | grep -E '^(leopod: |  obs|systems:|note|observed|  [A-Z]* C|other|not taken|.*not processed)' | cut -c 1-400; }
types() { printf '%-60s%s\n' "$1" "SYS / # / OBS TYPES"; }
head='     3.05           OBSERVATION DATA    M                   RINEX VERSION / TYPE'
file() { echo "$head"; types "$1"; [ -z "$2" ] || types "$2"; printf '%60s%s\n' '' 'END OF HEADER'; sed '1,10d' all.obs; }
for set in C1P,C2P C1W,C2W C1C,C2W C1C,C2P C1C,C2D C1C,C2L C1C,C2X C1C,C2S C1C,C2C C1L,C2L C1X,C2X C1C,C5Q C1C,C5X C1C,C5I C1L,C5Q C1S,C5Q; do a=${set%,*} b=${set#*,}; file "G    4 $a L${a:1} $b L${b:1}" > f.obs; run --obs f.obs --interval 600 | grep systems; done
for set in C2I,C6I C1P,C5P C2I,C7I C2X,C6X C2Q,C6Q C2X,C7X C1X,C5X C1D,C5D C1P,C6I C2I,C5P C2I,C8X; do a=${set%,*} b=${set#*,}; file "C    4 $a L${a:1} $b L${b:1}" > f.obs; run --obs f.obs --interval 600 | grep -E 'systems|note|^leo'; done
file 'G    4 C1C L1P C2P L2P' > f.obs; run --obs f.obs --interval 600 | grep systems
file 'G    4 C1W L1C C2W L2W' > f.obs; run --obs f.obs --interval 600 | grep systems
# two sets: columns of the second are the first's, and miss in some satellites
double() { awk -v n=$1 'NR <= 10 { next } /^>/ { print; next } { l = substr($0 "                                          ", 1, 65) " "; full = (++k % 10) >= n; print l (full ? substr(l, 4) : "") }' all.obs; }
pair() { echo "[$1, $2 of ten lack ${3:-the second}]"; { echo "$head"; types "$1"; printf '%60s%s\n' '' 'END OF HEADER'; double $2; } > f.obs; run --obs f.obs --interval 600; }
for lacking in 0 1 2 5 10; do pair 'G    8 C1C L1C C2X L2X C1P L1P C2P L2P' $lacking; done
pair 'G    8 C1W L1W C2W L2W C1P L1P C5Q L5Q' 0
pair 'C    8 C2I L2I C7I L7I C1P L1P C5P L5P' 1
echo "--- many satellites"
many() { awk -v most=$1 'NR <= 10 { print; next } /^>/ { n = 0; $0 = substr($0, 1, 32) sprintf("%3d", 15 + most); print; for (k = 0; k < most; ++k) printf "C%02d%s\n", 30 + k, "  25000000.000   130000000.000    25000000.000   97000000.000"; next } { print }' all.obs; }
for more in 0 1 9; do many $more > f.obs; echo "[$more more]"; command leopod run --obs f.obs --nav arc.nav --att attitude.txt --atx zero.atx --eop examples/data/demo_eop.txt --out out.csv --satellites-out sat.csv 2>&1 | grep -E '^(leopod: |epochs:|satellites:)'; cut -d, -f 3-6,10 out.csv | sed 1d; cut -d, -f 4 sat.csv | sort | uniq -c | tr '\n' ' ' | tr -s ' '; echo; done
echo "--- many epochs"
awk 'BEGIN { printf "%-20s%-40s%s\n", "     3.05", "OBSERVATION DATA    M", "RINEX VERSION / TYPE"; printf "%-60sSYS / # / OBS TYPES\n%60sEND OF HEADER\n", "G    4 C1P L1P C2P L2P", ""; for (t = 0; t < 1300; ++t) { printf "> 2021 01 18 00 %02d %10.7f  0  2\n", t / 60, t % 60; for (k = 1; k < 3; ++k) printf "G%02d%14.3f  %14.3f  %14.3f  %14.3f\n", k, 22e6 + t, 115e6 + t, 22e6 + t, 90e6 + t } }' > long.obs
command leopod run --obs long.obs --nav arc.nav --out out.csv 2>&1 | grep -E '^(leopod: |  obs|span|epochs:)'; cut -d, -f 3,4 out.csv | awk 'NR % 200 == 2'; tail -n 1 out.csv | cut -d, -f 3,4
sed 's/^\(> 2021 01 18 00 0[0-9]  *[0-9]\{1,2\}\.\)0/\11/' long.obs > other.obs; command leopod run --obs long.obs other.obs --nav arc.nav --to 30 --out out.csv 2>&1 | grep -E '^(leopod: |  obs|span|epochs:)'
echo "--- antennas of the receiver"
atx() { echo "[$1]"; command leopod run --obs all.obs --nav arc.nav --att attitude.txt --eop examples/data/demo_eop.txt --atx <(sed "$1" zero.atx) --out out.csv 2>&1 | grep -E '^(leopod: |  antennas|receiver ant|epochs:)'; [ ! -f out.csv ] || { cut -d, -f 3-6 out.csv | sed -n 2p; rm out.csv; }; }
for change in '' '/VALID FROM/s/.*/  2021     1    18     0     0    0.0000000                 VALID FROM/' '/VALID FROM/s/.*/  2021     1    18     0     0    0.0000001                 VALID FROM/' '/VALID FROM/s/.*/  2030     1    18     0     0    0.0000000                 VALID FROM/' '/NORTH/s/^.\{30\}/    100.00      0.00   1000.00/' '/START OF ANTENNA/d'; do atx "$change"; done
for options in '--receiver -1' '--receiver 3' '--embedded --codes GPS:C1P,L1P,C2P,L2P' '--embedded --eop examples/data/demo_eop.txt' '--systems GPS --config examples/gnss_gps.cfg' '--config examples/gnss_gps.cfg' '--sigma-code 0'; do echo "[$options]"; command leopod run --obs all.obs --nav arc.nav $options 2>&1 | grep -E '^(leopod: |systems|epochs:|  conf)|above'; done
command leopod run --obs all.obs 2>&1; command leopod run --obs all.obs --clk tests/data/clock.clk 2>&1; command leopod run --obs all.obs --nav arc.nav --clk tests/data/clock.clk 2>&1
