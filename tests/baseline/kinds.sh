# What a file is, told by its beginning: marks, labels, lines of numbers on both sides of each limit.
kind() { printf -- "$1" > file; printf '%-44s' "${1:0:42}"; command leopod tide --blh 50 10 0 --epoch 2021-01-18T00:00:00 --blq file; }
label() { kind "$(printf '%-20s%-40s%s' "$1" "$2" "$3")\n"; }
{
echo "--- labels"
for type in O N G H L E C M S; do label "     3.05" "$type" "RINEX VERSION / TYPE"; done
label "     3.05" " OBSERVATION" "RINEX VERSION / TYPE"
label "     3.04" "NAVIGATION" "RINEX VERSION  TYPE"
label "     3.04" "NAVIGATION" " RINEX VERSION / TYPE"
label "     3.04" " C" "     RINEX VERSION / TYPE"
label "     3.04" "          C" "     RINEX VERSION / TYPE"
label "3.0" "COMPACT RINEX FORMAT" "CRINEX VERS   / TYPE"
label "3.0" " COMPACT RINEX FORMAT" "CRINEX VERS   / TYPE"
label "     1.4" "M" "ANTEX VERSION / SYST"
label "     1.4" "M" " ANTEX VERSION / SYST"
for head in '#aP2021  1 18  0  0  ' '#dV2021  1 18  0  0  ' '#eP2021  1 18  0  0  ' '#dX2021  1 18  0  0  ' '@cP2021  1 18  0  0  ' '#cP2021  1 18  0  0 ' '#`P2021  1 18  0  0  '; do kind "$head\n"; done
echo "--- marks"
for mark in 'CCSDS_OEM_VERS = 2.0' 'CCSDS_OPM_VERS = 2.0' 'CCSDS_OMM_VERS = 2.0' '<oem id="1">' '<opm id="1">' '<ndm>' '<omm>' '+GNSS_SYS' '+Force_Models' 'KSIZE=  2036' 'GROUP   1010' \
  'GROUP   1030' 'GROUP 1010 x' 'GROUPS 1010' 'NUM_OBSERVED_POINTS 3' '# End of YAML header' ' # End of YAML header' 'H1 CRD 1' 'h1 crd 2' 'H1 XXX' 'H1' 'product_type gravity_field' 'product_type orbit' 'product_type'; do kind "$mark\n"; done
kind '\n \t \r\n  H1  CRD  1\r\n'
x=$(printf 'x\\n%.0s' {1..399})
kind "${x}CCSDS_OEM_VERS = 2.0\n"
kind "x\n${x}CCSDS_OEM_VERS = 2.0\n"
kind '\xef\xbb\xbf+GNSS_SYS\n'
kind ''
kind ' \n\t\r\n'
kind 'a\0b\n'
echo "--- elements"
one='1 00005U 58002B   00179.78495062  .00000023  00000-0  28098-4 0  475'
two='2 00005  34.2682 348.7242 1859667 331.7664  19.3264 10.8241915741366'
kind "$one\n$two\n"
kind "x\n$one\n$two\n"
kind "${one:0:67}\n$two\n"
kind "$one\n${two:0:67}\n"
kind "2${one:1}\n$two\n"
kind "$one\n1${two:1}\n"
kind "${one:0:23},${one:24}\n$two\n"
kind "$one\n${two:0:11},${two:12}\n"
kind "$one\n${two:0:20},${two:21}\n"
kind "$one\n"
echo "--- earth orientation"
rapid='21 118 59232.00 I  0.052519 0.000020  0.319453 0.000031  I-0.1715870'
for mjd in 59232.00 10000.00 9999.99 110000.0 110000.5 59232,00; do kind "$(printf '21 118 %-8s I' "${mjd:0:8}")${rapid:17}\n"; done
kind "${rapid:0:16}P${rapid:17}\n"
kind "${rapid:0:16}X${rapid:17}\n"
kind "${rapid:0:67}\n"
rest='0.05 0.31 -0.17 0.0002 0 0 0'
for date in '2021 1 18 59232' '1890 1 18 10000' '1889 1 18 59232' '2200 12 18 110000' '2201 1 18 59232' '2021 0 18 59232' '2021 13 18 59232' '2021 1.5 18 59232' '2021 1 18.5 59232' '2021.5 1 18 59232' \
  '2021 1 18 9999' '2021 1 18 110001' '2021 1 18 0 59232' '2021 1 18 23.99 59232' '2021 1 18 24 59232' '2021 1 18 -1 59232' '2021 1 18 6 5923'; do kind "$date $rest 0\n"; done
kind "2021 1 18 59232 ${rest#* }\n"
kind "2021 1 18 59232 ${rest#* } 0\n"
echo "--- quaternions"
for numbers in '59232.0 1 0 0 0' '59232.0 0.5 0.5 -0.5 0.5' '59232.0 0.9901 0 0 0' '59232.0 0.9899 0 0 0' '59232.0 0 1.0099 0 0' '59232.0 0 0 1.0101 0' '59232.0 0 0 0 1' '9999 1 0 0 0' '59232 1 0 0' '59232 1 0 0 0 0'; do kind "$numbers\n"; done
echo "--- gravity"
for numbers in '2 0 -0.48e-3 0.0' '2 0 -0.48D-3 0.0d0 0 0' '2 0 1.0 0.0' '2 0 1.1 0.0' '2 0 -1.1 0.0' '2 1 0.0 0.0099' '2 1 0.0 0.0100' '2 1 0.0 -0.02' '2 2 +0.1 0' '2 3 0.1 0' '2 0 1 0' '2.5 0 0.1 0' '2 0.5 0.1 0' '-1 -1 0.1 0' \
  '2 -1 0.1 0' '2 0 0.1 0 0' '2 0 0.1' 'gfc 2 0 0.1 0' 'gfc 2 0 0.1' 'xyz 2 0 0.1 0' '999999 0 0.1 0' '1000000 0 0.1 0' '2 0 0.1 0 0 inf' "2 0 0.$(printf '%061d' 0) 0" "2 0 0.$(printf '%062d' 0) 0"; do kind "$numbers\n"; done
echo "--- others"
for text in 'a,b,c\n' 'a,b\n' '# x,y\na,b,c\n' '# x,y,z\n' '#\n' 'ABC DEF\n' '$$ x\n'; do kind "$text"; done
} 2>&1 | sed 's/leopod: file: is not an ocean loading file; this is//; s/leopod: file: line 1 .* the file ends behind 0 of the 6 rows of site.*/ no kind/; s/leopod: file: line.*site$/ no kind/; s/leopod: file: line 2.* values where 11 are expected/ no kind/'
echo "--- what is expected"
for option in --obs --nav --sp3 --clk --atx --att --eop --jpl --config --truth --sp3-antenna; do
  for other in examples/demo_orbit.cfg tests/data/sp3.sp3; do
    case $option in
      --obs) leopod run $option $other --nav tests/data/navigation3.rnx ;;
      *) leopod run --obs examples/data/demo_bds.obs --nav examples/data/demo_bds.nav --sp3 tests/data/sp3.sp3 --to 60 $option $other > /dev/null ;;
    esac
  done
done 2>&1
for other in tests/data/*.{atx,clk,crx,rnx,cfg,txt,405,crd,nav,obs,blq,tle} /dev/null; do command leopod orbit --compare $other examples/data/demo_truth.csv; done 2>&1
