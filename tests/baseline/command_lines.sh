# Command lines: unknown commands and options, values, what a summary keeps of them, ends of the program.
for line in "" "runn" "x" "plots errors" "plot" "plot error" "plot x --in a" "plot errors --truht a" "plot sky --in=a --fram=b" "run --nva x" "run --nav" "run --obs a --interval x" "run --obs a --interval -1" "run --obs a --sigma-code 0" "run --obs a --sigma-code nan" "run --obs a --sigma-code inf" "run --obs a b --unknown" "run --obs a -x" "run --o" "run --obs=a --nva=b" "run --" "run --obs a --receiver x" \
  "tle" "tle --tle a --step x" "tide --duration 1,5" "crd" "simulate --seed -1" "simulate --seed 1.5" "simulate --orbit a --nav b --channels x" "report" "--verson" "-v" "tide extra" "run --obs a --from 5 --sp3-version e" "tide --xyz 1 2" "tide --xyz 1 2 inf --epoch 2021-01-18T00:00:00" "plot sky --in a --out b.svg --style dots" "plot sky --frame up" "plot residuals --limit 0" "plot residuals --in a --limit 1e"; do
  echo "leopod $line"; leopod $line 2>&1 | head -n 4
done
leopod --version | sed 's|[: ].*||'
echo "# what a summary and a page keep of a line"
at="--epoch 2021-01-18T00:00:00"
leopod tide --blh 57 11 45 $at --summary "it's a summary.json" --site "" --log-level=off > /dev/null; sed -n '/"command_line"/p;/"settings"/,/^  }/p' "it's a summary.json"
leopod tide --xyz 3370658.6 711877.1 5349786.9 $at --summary 'a,b:c=d@e+f%g_h-i.json' --interval 60 > /dev/null; grep command_line a,b*
for name in 'a b' 'a"b' 'a$b' 'a\b' 'a;b' 'a&b' 'a*b' 'a#b' 'a!b' "a'b" 'aé' '~a' 'ZYXWVUTSRQPONMLKJIHGFEDCBA' 'zyxwvutsrqponmlkjihgfedcba9876543210'; do leopod tide --blh 57 11 45 $at --summary "$name" > /dev/null; grep -h command_line "$name"; rm "$name"; done
echo "epoch_gpst,x_ecef_m,y_ecef_m,z_ecef_m" > fit.csv; for i in 1 2 3; do echo "2021-01-18T00:00:0$i,7000000,${i}000,0" >> fit.csv; done
leopod report --fit fit.csv --out page.html --charts none --command "one < two" --command=three --title "a 'b'" > /dev/null; grep '<code>' page.html | sed 's/<code>/\n&/g'
leopod report --fit fit.csv --out page.html --charts none --summary "it's a summary.json" > /dev/null; grep '<code>' page.html | sed 's/<code>/\n&/g'
echo "# ends"
leopod tide --blh 57 11 45 $at --out /dev/full
leopod tide --blh 57 11 45 $at > /dev/full
leopod tle --tle tests/data/tle.tle --satno 95 --duration 600 --out - > /dev/full
leopod crd tests/data/laser_ranging1.crd --out /dev/null/x
