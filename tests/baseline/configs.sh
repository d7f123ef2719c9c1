# Configurations: each fault of a line, and what is still right.
say() { command leopod "$@" 2>&1 > /dev/null && echo good; }
gnss() { { echo +GNSS_SYS; printf "$1"; echo -GNSS_SYS; printf "+GENERAL_CONFIG\n$2-GENERAL_CONFIG\n"; } > file; t="$1$2"; echo "[${t:0:50}]"; say run --obs file --nav tests/data/navigation3.rnx --config file; }
gps='GPS 4 C1C L1C C2W L2W IF 0 2 1 3\n'
bds='BDS 4 C1P L1P C5P L5P IF 0 2 1 3\n'
gnss "$gps$bds" 'ELE_CUTOFF 5\nHUBER_COEF 1.5\nHUBER_POWER 2\nTHRES_MW_SLIP 3\nTHRES_GF_SLIP 0.05\nVAR_POS 1\nVAR_VEL 1\nVAR_ACC 1\nVAR_CLK 1\n'
gnss "// comment\n* another\nGPS 2 C1C L1C\n${bds}GAL 4 C1X L1X C5X L5X IF 0 2 1 3\n" 'ELE_CUTOFF -90\n\nVAR_POS 999999999999 // comment\n'
gnss '' ''
gnss "\nGPS\t2 C1C L1C\nGPS 2 C1C L1C//comment\nGPD 2 C1C L1C\n$gps${gps}GAL 0 C1C\nBDS 11 C1C\n" ''
gnss 'GPS\nGAL x\nBDS 1x C1I\n' ''
gnss 'GPS 3 C1C L1\nGAL 2 X1C L1C\nBDS 2 C0I L1I\n' ''
gnss 'GPS 2 C1F L1C\nGAL 2 C1CC L1C\nBDS 2 Cii LiI\n' ''
gnss 'GPS 6 C1C L1C C2W L2W C5Q L5Q\nGAL 8 C1C L1C C5Q L5Q C6Q L6Q C7Q L7Q\nBDS 1 ChA\n' ''
gnss "${gps}GAL 2 C1C L1C\n" ''
gnss 'GPS 4 C1C L1C C2W L2W IF 0 2 1\nGAL 4 C1C L1C C5Q L5Q IF 0 2 1 4\nBDS 4 C1P L1P C5P L5P IE 0 2 1 3\n' ''
gnss 'GPS 4 C1C L1C C2W L2W IF 1 2 1 3\nGAL 4 C1C L1C C5Q L5Q IF 0 1 1 3\nBDS 4 C1P L1P C5P L5P IF 0 2 0 3\n' ''
gnss 'GPS 4 C1C L1C C2W L2W IF 0 2 1 2\nGAL 4 C1C L1C C5Q L5Q IF 0 2 1 3 9\nBDS 4 C1P L1P C5P L5P IF -1 2 1 3\n' ''
gnss "$gps" 'ELE_CUTOFF 90.5\nHUBER_COEF 0\nHUBER_POWER x\nTHRES_MW_SLIP\nTHRES_GF_SLIP 1 2\nVAR_PUS 1\nVAR_VEL=1\nVAR_ACC 1\nVAR_ACC 2\nVAR_CLK 1000000000000\n'
gnss "$gps" 'ELE_CUTOFF -90.1\nVAR_POS -1\nVAR_VEL\t1\nHUBER_COEF 1//x\nVAR_ACC 1 VAR_CLK\n'
gnss "$gps" 'HUBER_COEF 123456 VAR_POS\nVAR_VEL 1\n'
gnss "$gps" 'VAR_ACC 1          // then VAR_POS\nVAR_POS 2\nVAR_VEL 0.00000000000001 \n'
raw() { echo "[${1:0:50}]"; printf "$1" > file; say run --obs file --nav tests/data/navigation3.rnx --config file; }
raw "+GNSS_SYS\n$gps"
raw "+GNSS_SYS\n$gps-GENERAL_CONFIG\n"
raw "x\n+GNSS_SYS //x\n${gps}GNSS_SYS\n+GENERAL_CONFIG\n-GNSS_SYS\n-GENERAL_CONFIG\n"
raw "+GNSS_SYSTEM\n$gps-GNSS_SYS\n-GENERAL_CONFIG\nENERAL_CONFIG\n+GENERALCONFIG\n"
raw "GNSS_SYS\n"
raw "+GENERAL_CONFIG\nVAR_POS 1\nVAR_VEL 1\nVAR_ACC 1\n-GENERAL_CONFIG\n+GNSS_SYS\n$gps-GNSS_SYS\n"
raw "+GNSS_SYS\nGPS 3 C1C\nBDS 10 C1P L1P C5P L5P C2I L2I C2X L2X C2Q L2Q\n-GNSS_SYS\n"
raw " +GNSS_SYS\r\n$gps -GNSS_SYS\t\n\t\n"
raw "+GNSS_SYS\n$gps-GNSS_SYS\n$(printf 'x\001%d\\n' {1..12})"
raw "+GNSS_SYS\n$gps-GNSS_SYS\n$(printf 'x%d\\n' {1..13})"
long() { echo "[$1]"; printf -- "+GNSS_SYS\n$gps-GNSS_SYS\n+GENERAL_CONFIG\nVAR_POS 1 //%$1s\n-GENERAL_CONFIG\n" x > file; say run --obs file --nav tests/data/navigation3.rnx --config file; }
long 1011
long 1012
dynamics() { { echo +Force_Models; printf "$1"; printf -- "-Force_Models\n+GENERAL_CONFIG\n$2-GENERAL_CONFIG\n"; } > file; t="$1$2"; echo "[${t:0:50}]"; say propagate --state 6890e3 0 0 0 -980 7543 --frame eci --epoch 2021-01-18T00:00:00 --duration 60 --dynamics file; }
steps='Integration_Step_Size = 30\nIntegration_Output_Interval = 60\n'
dynamics 'Earth_Gravity = YES 30\n' "$steps"
dynamics 'Earth_Gravity : YES 2 solid_earth_tide ocean_tide polar_tide time_varying_gravity\nThird_Body_Gravity = YES SUN MOON JUPITER VENU MERCUR MARS SATURN URANUS NEPTUNE PLUTO\nGeneral_Relativity = YES\nSolar_Radiation_Pressure = BOXW Cr:7200\n' \
  "${steps}spacecraft_state_mode = 2\n"
dynamics 'Earth_Gravity = YES 10\nEarth_Radiation_Pressure = GRID\nAtmosphere_Drag = SPHERE Cd:100.5\nEmpirical_Force = YES A0:1 C0:1 R0:1 AC:1 AS:1 CC:1 CS:1 RC:1 RS:1\nGeneral_Relativity = NO\nThird_Body_Gravity = NO\n' 'Integration_Step_Size = 86400\nIntegration_Output_Interval = 0.5\n'
dynamics '' ''
dynamics 'Earth_Gravity = NO\n' "$steps"
dynamics 'Earth_Gravty = YES 2\n' 'Integration_Step = 30\nIntegration_Output_Intervall = 60\n'
dynamics 'Earth_Gravity = YES 1\nEarth_Gravity = YES 3\nIntegration_Step_Size = 30\n' "${steps}General_Relativity = YES\n"
dynamics 'Earth_Gravity = YES 31\n' "$steps"
dynamics 'Earth_Gravity = YES 361\n' "$steps"
dynamics 'Earth_Gravity = YES 2160\n' "$steps"
dynamics 'Earth_Gravity = YES\nGeneral_Relativity = YES x\nThird_Body_Gravity = YES\nEmpirical_Force = YES\nAtmosphere_Drag = NO\n' "$steps"
dynamics 'Earth_Gravity = YES 5 solid_tide Ocean_Tide\nGeneral_Relativity = yes\nThird_Body_Gravity = YES SUN,MOON Sun SUN SUN MER MERC MERCURY\nEmpirical_Force = MAYBE\n' "$steps"
dynamics 'Earth_Gravity = YES 5\nSolar_Radiation_Pressure = YES\nEarth_Radiation_Pressure = BOXW Cr:10\nAtmosphere_Drag = GRID Cd:1 Cr:1\n' "$steps"
dynamics 'Earth_Gravity = YES 5\nSolar_Radiation_Pressure = NO Cr:10 Cr:10\nAtmosphere_Drag = GRID CD:1\nEmpirical_Force = YES A0 C0: R0:0 AC:-1 AS:x XX:1 CC:5 CC:6\n' "$steps"
dynamics 'Earth_Gravity=YES 5\nEarth_Gravity = \nGeneral_Relativity YES x\nThird_Body_Gravity := YES\n' "$steps"
dynamics 'Earth_Gravity = YES 5\n' 'Integration_Step_Size = 0\nIntegration_Output_Interval = 86401\nspacecraft_state_mode = 3\n'
dynamics 'Earth_Gravity = YES 5\n' 'Integration_Step_Size = 30 s\nIntegration_Output_Interval = x\nspacecraft_state_mode = 1\n'
dynamics 'Earth_Gravity = YES 5\n' 'Integration_Step_Size = 1\nIntegration_Output_Interval = 0.000001\nspacecraft_state_mode = 0.5\n'
