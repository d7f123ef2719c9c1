# Compressed files of each kind, whole and damaged, one behind or inside another; Compact RINEX of both versions, whole and damaged.
read_() { printf '%-28s' "$1"; command leopod tide --blh 57 11 0 --epoch 2021-01-18T03:00:00 --blq file 2>&1 | sed -n '/^leopod: /p;/^  ocean/,/up/s/^.*  \([a-z]*  *[-+]\)/  \1/p' | sed 's/\(damaged\( or cut\)\{0,1\}\): .*/\1/' | tr '\n' ' '; echo; }
gz=H4sIAAAAAAACA5XLqxHAMAwEUe4qBIwzsn5JYLpy+fGNKjiwj+2csofId7pUFzDgIECCAjd4wHtYCvoz9rP+nP28v2C/6C/ZL/sr9qvxA7CmftdZAQAA
bz2=QlpoOTFBWSZTWVI2Yj4AACpcgAAQRAF/4CAAAEAgAGobUofqPUg9IIVQAaC8Zmu9+wNKSSZw0U0U0U0NHyLRe0UG3pjIQDA/KjrLLS0tLSimZ+LuSKcKEgpGzEfA
xz=/Td6WFoAAATm1rRGAgAhARYAAAB0L+Wj4AFYADxdABJgfPAKEGE+g1Erv5/rYojdwwh9950GTWktFOqxVkhN9QVqfaIbKh+Db9A1rwsp1TFJqYhFwSZx6PodAABmo0mFIKSd9gABWNkCAAAA5ItkDbHEZ/sCAAAAAARZWg==
zst=KLUv/WRZAIUCAHQCJCQgeAogIEEKICAuMDAxMjM0NTY3ODkgLjAxMDIyMzM0NDU1NjYKEwCBKGC4QGRgkEA8MLBAFDBcIPJWY0EUiAPBQAiIA8FACIgLQakD6QodlA==
Z=H52QJEiAwKMABIggBUG4iKFQhsIZCmkorKHQhsIbCnEozKGQoQsZCRc2fBhxYsWLGTd2bBjSo0MXEF1IdEHRhUUXGF1odMFR5MeWI2GWpHkSZ0qeK38a9Pky5syaN3Pu7OkS6EeSMk3aRKlTJVMF
lineless=H52QJEiAwKMABIggBUG4iKFQhsIZCmkorKHQhsIbCnEozKGQoQsZCRc2fBhxYsWLGTd2bBjSo0MXEF1IdEHRhUUXGF1odMFR5MeWI2GWpHkSZ0qeK38a9Pky5syaN3Pu7OkS6EeSMk3aRKlTJVM=
zip=UEsDBBQAAAAIAAAAMlIAAAAAAgAAAAAAAAACAAAAZC8DAFBLAwQUAAAACAAAADJSsKZ+10UAAABZAQAABwAAAGQvYS5ibHGVy6sRwDAMBFHuKgSMM7J+SWC6cvnxjSo4sI/tnLKHyHe6VBcw4CBAggI3eMB7WAr6M/az/pz9vL9gv+gv2S/7K/ar8QNQSwECFAMUAAAACAAAADJSAAAAAAIAAAAAAAAAAgAAAAAAAAAAAAAAgAEAAAAAZC9QSwECFAMUAAAACAAAADJSsKZ+10UAAABZAQAABwAAAAAAAAAAAAAAgAEiAAAAZC9hLmJscVBLBQYAAAAAAgACAGUAAACMAAAAAAA=
two=UEsDBBQAAAAIAAAAMlKwpn7XRQAAAFkBAAAFAAAAYS5ibHGVy6sRwDAMBFHuKgSMM7J+SWC6cvnxjSo4sI/tnLKHyHe6VBcw4CBAggI3eMB7WAr6M/az/pz9vL9gv+gv2S/7K/ar8QNQSwMEFAAAAAgAAAAyUh8I6kYEAAAAAgAAAAUAAABiLmJscavgAgBQSwECFAMUAAAACAAAADJSsKZ+10UAAABZAQAABQAAAAAAAAAAAAAAgAEAAAAAYS5ibHFQSwECFAMUAAAACAAAADJSHwjqRgQAAAACAAAABQAAAAAAAAAAAAAAgAFoAAAAYi5ibHFQSwUGAAAAAAIAAgBmAAAAjwAAAAAA
none=UEsDBBQAAAAIAAAAMlIAAAAAAgAAAAAAAAACAAAAZC8DAFBLAQIUAxQAAAAIAAAAMlIAAAAAAgAAAAAAAAACAAAAAAAAAAAAAACAAQAAAABkL1BLBQYAAAAAAQABADAAAAAiAAAAAAA=
for form in gz bz2 xz zst Z lineless zip two none; do
  echo "${!form}" | base64 -d > $form; size=$(stat -c %s $form)
  cp $form file; read_ "$form"
  for cut in 3 $((size / 3)); do head -c $cut $form > file; read_ "$form, $cut bytes"; done
  { head -c $((size - 20)) $form; printf 'xxxx'; tail -c 16 $form; } > file; read_ "$form, changed"
done
{ cat gz; printf more; } > file; read_ 'gz, more behind'
head -c 86 gz > file; read_ 'gz, 86 bytes'
cat gz gz > file; read_ 'gz gz'
{ cat gz; head -c 100000 /dev/zero; } > file; read_ 'gz, zeros'
{ cat gz; head -c 10 /dev/zero; cat gz; } > file; read_ 'gz, zeros, gz'
gzip -dc gz > plain; { printf '\xef\xbb\xbf'; cat plain; } > file; read_ 'mark'
cat gz | gzip -n > file; read_ 'gz in gz'
cat xz | gzip -n > file; read_ 'xz in gz'
cp zip file; gzip -nf file; mv file.gz file; read_ 'zip in gz'
printf 'BZh0 is a name\n' > file; read_ 'BZh0'
printf 'BZh' > file; read_ 'BZh'
{ printf 'name%253s' ''; printf 'ustar\n'; } > file; read_ 'tar'
{ printf 'name%252s' ''; printf 'ustar\n'; } > file; read_ 'no tar'
{ cat plain; head -c 200 /dev/zero; } | gzip -n > file; read_ 'text, then zeros'
odd() { { head -c $1 /dev/zero | tr '\0' '\1'; head -c $2 /dev/zero | tr '\0' '\377'; head -c $3 /dev/zero | tr '\0' ' '; } | gzip -n > file; read_ "$1 odd, $2 high of $(($1 + $2 + $3))"; }
odd 124 0 876; odd 125 0 875; odd 62 300 638; odd 63 249 688; odd 63 250 687; odd 0 1000 0
printf '\t\r\f\n\t\r\f\n\t\r\f\n' | gzip -n > file; read_ 'blanks'
head -c 30000000 /dev/zero | tr '\0' ' ' | gzip -n > file; read_ 'thirty million blanks'
{ yes '$$ comment and nothing else' | head -n 3000; cat plain; } | gzip -n > file; read_ 'a long text'
{ yes '$$ comment and nothing else' | head -n 3000; cat plain; } | cat > file; command leopod tide --blh 57 11 0 --epoch 2021-01-18T03:00:00 --blq - < file 2>&1 | tail -n 1
echo "--- Compact RINEX"
gunzip -c examples/data/grace_b/grcb2080_01h05h.10d.gz | sed 73q > six.crx
gunzip -c examples/data/grace_b/cod15942_excerpt.sp3.gz > all.sp3
take() { echo "[$1]"; command leopod run --obs ${2:-file} --sp3 all.sp3 --sigma-phase 0.05 --out out.csv 2>&1 | grep -E '^leopod: |  observations'; [ ! -f out.csv ] || { cut -d, -f 3-7,9,14-16 out.csv | sed -n '$p'; rm out.csv; }; }
take 'as it is' six.crx
for change in '34d' '34,43d' '34s/1/x/' '35s/^$/3\&100/' '35s/^$/x/' '46s/^/ /' '46s/ /  /' '46s/ .*//' '46s/^[-0-9]*/99999999999/' '46s/^[-0-9]*/9999999999999999999/' '46s/^[-0-9]*/4\&12/' '46s/^[-0-9]*/9\&1/' '46s/^[-0-9]*/x\&1/' '46s/^[-0-9]*/3\&/' '46s/$/                 1/' '46s/$/ 1/' '46s/$/  \&\&/' '44s/^ */&\x261/' '44s/1/3/' '44s/^.\{30\}.*/& 4/' '24s/8 05/9 05/' '24s/05/0x/' '24s/ 05/X05/' '24s/  0  8/  0 xx/' '24s/  0  8/  4  2/' '24s/ 0  8/xx 8/' \
  '1s/1.0/2.0/' '1s/1.0/3.0/' '12s/     5/   201/' '12s/     5/     x/' '12d' '23q' '22q' '1q' '33q' '40q' '44q' '43s/$/ /' '43s/^\(.*\)..$/\1/' '54s/^/\&/'; do sed "$change" six.crx > file; take "$change"; done
for cut in 1 2 20; do head -c -$cut six.crx > file; take "cut $cut"; done
{ cat six.crx; sed 's/^&10 07 27 01 00/\&10 07 27 01 10/' six.crx; } > file; take 'one behind the other'
sed 's/$/\r/' six.crx > file; take 'ends of lines'
for version in 1 3; do
  echo "[version $version]"
  command leopod run --obs tests/data/crinex$version.crx tests/data/crinex$version.rnx --nav tests/data/navigation3.rnx 2>&1 | grep -E '^leopod: |  observations'
  for change in '20s/^/x/' '$d' '25d' '30s/ /x/'; do echo "[$change]"; command leopod run --obs <(sed "$change" tests/data/crinex$version.crx) tests/data/crinex$version.rnx --nav tests/data/navigation3.rnx 2>&1 | grep -E '^leopod: |  observations'; done
done
