# Files that are written and read: places that can't be, one file twice, standard streams, names that are shown, what is left behind.
tide() { echo "[$*]"; command leopod tide --blh 50 10 0 --epoch 2021-01-18T00:00:00 "$@" 2>&1 | grep -E '^leopod: |written|^2021'; }
mkdir -p dir; : > file; printf 'GPS 1\n' > text
tide --out dir
tide --out file/x
tide --out dir/a/b/c.csv; ls dir/a/b
tide --out /dev/full
tide --out /dev/null
tide --out -
tide --out /dev/stdout
tide --out /dev/fd/1
tide --out /dev/fd/77
tide --out /dev/fd/x; tide --out /dev/fd/ ; tide --out /proc/self/fd/1
tide --out /dev/stderr
tide --out x.csv --summary x.csv
tide --out x.csv --summary ./dir/../x.csv
tide --out /dev/null --summary /dev/null
tide --out - --summary -
tide --out - --summary /dev/stdout
tide --blq text --out text
ln -s text link; ln -s nowhere/deep broken; ln -s loop loop; ln text hard
tide --blq link --out text
tide --blq hard --out text
tide --out broken; find nowhere
tide --out loop
tide --blq - --out text < /dev/null
tide --blq - --eop - < text
tide --blq - --eop /dev/stdin < text
echo '[> file]'; cp tests/data/ocean_loading.blq site.blq; command leopod tide --blh 50 10 0 --epoch 2021-01-18T00:00:00 --blq site.blq --site ONSALA >> site.blq; cmp site.blq tests/data/ocean_loading.blq
tide --blq dir; tide --blq nothing; tide --blq ''; tide --blq file
tide --blq <(printf '\x1f\x8b')
printf 'x,y\n' > old.csv; chmod 640 old.csv; tide --out old.csv; stat -c '%a %n' old.csv; wc -l < old.csv
tide --out 'with "quotes", and commas.csv'
name=$(printf 'n%.0s' {1..260}); tide --out $name | cut -c 1-40,250-
ls -A | grep -c tmp
echo "--- ocean loading"
blq() { echo "[$*]"; command leopod tide --blh 57.4 11.9 0 --epoch 2021-01-18T03:00:00 "$@" 2>&1 | sed -n '/^leopod: /p;/^ocean/p;/^ *ocean load/,/up/p' | tail -n 4; }
rows=$(for i in 1 2 3 4 5 6; do echo "  .00$i .002 .003 .004 .005 .006 .007 .008 .009 .010 .0$i"; done)
site() { printf '$$ comment\n\n  %s\n$$ %s, RADI TANG lon/lat: 11.9 57.4\n%s\n' "$1" "$1" "$rows"; }
site 'ONE 1' > one.blq; { site 'ONE 1'; site 'TWO'; site 'one 2'; } > three.blq; for i in 1 2 3 4 5 6 7 8 9; do site "S$i"; done > nine.blq
blq --blq one.blq
blq --blq one.blq --site TWO
for name in '' 'ONE 1' 'one 2' ONE two ON three; do blq --blq three.blq --site "$name"; done
blq --blq nine.blq; blq --blq <(head -n 80 nine.blq)
for change in '5d' '10d' '10,$d' '7s/.010//' '7s/$/ 1/' '7s/.003/x03/' '3d' '4d'; do blq --blq <(site 'ONE 1' | sed "$change"); done
blq --blq <(site "$(printf 'LONG%.0s' {1..20})" | sed '8s/.003/nan/')
blq --blq <(site 'A, B'; site '"Q"') --site 'A,'
