/// \file gnss_config.h
/// Signal vocabulary, satellite identifiers, carrier frequencies, and the GNSS processing configuration.
#ifndef LEOPOD_GNSS_CONFIG_H
#define LEOPOD_GNSS_CONFIG_H

#include "leopod_api.h"

LEOPOD_BEGIN_DECLS

enum {
    MAXSAT_GNSS = 97,     ///< valid satellite indices: 0 to 96
    MAXNUM_STATION = 10,  ///< further indices above the satellites
    MAXNUM_SYS = 3,       ///< systems of a configuration
    MAXOBS_PER_SAT = 10,  ///< observations of a satellite in an epoch, and observables of a system
    MAXSAT_EPOCH = 15     ///< satellites of an epoch
};

/// Satellite systems. GEO is a value of its own, not the geostationary satellites of BDS.
typedef enum sysGNSS LEOPOD_ENUM_BASE {
    UKNSYS = 0,
    GPS = 1,
    BDS = 2,
    GAL = 3,
    GLO = 4,
    GEO = 5,
    LEO = 6,
    STA = 7  ///< ground station
} sysGNSS;

/// Observation types.
typedef enum OBSTYPE LEOPOD_ENUM_BASE { UKNTYPE = 0, RANGE = 1, PHASE = 2, DOPPLER = 3, SIGNAL = 4 } OBSTYPE;

/// Bands. C1 to K5 have frequencies only under LEO; the characters a to h stand for them in observation codes.
typedef enum OBSFREQ LEOPOD_ENUM_BASE {
    UKNFREQ = 0,
    L1 = 1,
    L2 = 2,
    L3 = 3,
    L4 = 4,
    L5 = 5,
    L6 = 6,
    L7 = 7,
    L8 = 8,
    L9 = 9,
    C1 = 10,
    C2 = 11,
    C3 = 12,
    K1 = 13,
    K2 = 14,
    K3 = 15,
    K4 = 16,
    K5 = 17
} OBSFREQ;

/// Tracking codes.
typedef enum OBSCODE LEOPOD_ENUM_BASE {
    UKNCODE = 0,
    aA = 1,
    aB = 2,
    aC = 3,
    aD = 4,
    aE = 5,
    aI = 6,
    aL = 7,
    aM = 8,
    aN = 9,
    aP = 10,
    aQ = 11,
    aS = 12,
    aW = 13,
    aX = 14,
    aY = 15,
    aZ = 16
} OBSCODE;

/// One observable.
typedef struct TYPE_FREQ_CODE {
    OBSTYPE type;
    OBSFREQ freq;
    OBSCODE code;
} TYPE_FREQ_CODE;

/// What is processed and how. The order of sys_used defines the system index used everywhere.
typedef struct GNSSCONFIG {
    sysGNSS sys_used[3];                            ///< systems processed
    int num_sys;                                    ///< valid entries of sys_used
    int num_obs_freq_code[3];                       ///< observables per system index
    int num_freq[3];                                ///< distinct bands among them
    double ele_cutoff;                              ///< elevation mask [rad]
    double thres_slip_gf;                           ///< geometry-free slip threshold [m]
    double thres_slip_mw;                           ///< Melbourne-Wuebbena slip threshold [cycle]
    double huber_param_spp[2];                      ///< Huber weighting of the point position: coefficient, power
    double var_pos;                                 ///< a-priori variance of position
    double var_vel;                                 ///< of velocity
    double var_acc;                                 ///< of acceleration
    double var_clk;                                 ///< of clock
    double var_ztd;                                 ///< of zenith tropospheric delay
    double var_trop_gradient;                       ///< of tropospheric gradient
    double var_dcb;                                 ///< of differential code bias
    double var_bias;                                ///< of bias parameters (ambiguities)
    double var_iono;                                ///< of ionospheric delay
    TYPE_FREQ_CODE obs_type_freq_code_used[3][10];  ///< observables per system index, in order
    int obs_index_IF_code[3][2];                    ///< positions of the two codes of the ionosphere-free pair
    int obs_index_IF_phase[3][2];                   ///< positions of its two phases
    int opt_IF[3];                                  ///< 1: ionosphere-free combination
} GNSSCONFIG;

extern GNSSCONFIG gnssconfig;  ///< the configuration in use, zero at load

/// Dense satellite index: GPS prn - 1, BDS prn + 31, LEO prn + 94, STA 104 for any prn. The prn is not range-checked:
/// GPS 33 has the index of BDS 1, so compare the result with MAXSAT_GNSS.
/// Above 106: logs "satsysprn2index(): index[%d] > MAXSAT_GNSS + MAXNUM_STATION, sys=%d, prn=%d" (error) with index,
/// the limit 107 and the system.
/// \param sys,prn  system and satellite number
/// \return the index; -1 for a system without one, for a negative index and above 106
int satsysprn2index(sysGNSS sys, int prn);

/// System and satellite number of a dense index. Not the inverse of satsysprn2index above 96.
/// 97 and above: logs "satindex2sysprn(): satindex[%d] > MAXSAT_GNSS[%d]" (error), gives UKNSYS and -1.
/// \param index    0 to 96
/// \param sys,prn  [out] system and satellite number; left as they are for a negative index
/// \return true for 0 to 96
bool satindex2sysprn(int index, sysGNSS* sys, int* prn);

/// System and number of a satellite text such as "G07".
/// \param str_satsysprn  letter G, C, E, R, L or T, then the number
/// \param prn            [out] the number; 0 when it is missing or negative
/// \return the system; UKNSYS for any other letter
sysGNSS string2satsysprn(char* str_satsysprn, int* prn);

/// Satellite text "%c%02d": C for BDS, E for GAL, R for GLO, L for LEO, G for every other system.
/// \param satsys,prn  system and number
/// \param prn_str     [out] 4 characters; a longer number is cut
void satsysprn2string(sysGNSS satsys, int prn, char* prn_str);

/// Name of a system: "GPS", "BDS", "GAL", "GLO", "GEO", "LEO"; "UKNSYS" for every other value, STA among them.
/// \param sys  the system
/// \param str  [out] 7 characters
void sysGNSSAsString(sysGNSS sys, char* str);

/// Three-character observation code of an observable: C, L, D, S or U; 1 to 9, a to h or u; A to Z or U.
/// \param tfc  the observable
/// \param str  [out] 3 characters, without a terminator
void TYPE_FREQ_CODE_AsString(TYPE_FREQ_CODE tfc, char* str);

/// Two-character observation code of RINEX 2 to an observable. A bad character logs "Warning: unkonwn obs type: %c in
/// obscode_conversion_v2()\n" or "WARNING: UNKNOWN gnss obs frequency %s\n" (warning) and leaves its output as it was.
/// \param obscode  the code; a second character A means band 1 with code C
/// \param t,b,c    [in,out] type, band, tracking code
/// Source: RINEX 2.11, section 5; the letters a to h stand for the bands C1 to K5.
void obscode_conversion_v2(char* obscode, OBSTYPE* t, OBSFREQ* b, OBSCODE* c);

/// Three-character observation code of RINEX 3 to an observable. A bad character logs
/// "WARNING: UNKNOWN gnss obs type %s\n", "... frequency %s\n" or "... code %s\n" (warning) and leaves its output as it
/// was.
/// \param obscode  the code; a blank third character means X
/// \param t,b,c    [in,out] type, band, tracking code
/// Source: RINEX 3.05, section 5.1; the letters a to h stand for the bands C1 to K5.
void obscode_conversion_v3(char* obscode, OBSTYPE* t, OBSFREQ* b, OBSCODE* c);

/// Carrier frequency. A band without one logs "%s%02d band %d can not find frequency value.\n" (warning) with the name
/// "GPS" for every system; another system logs "Unrecognised satellite system: %d\n" (warning).
/// \param satsys,band  system and band
/// \param prn          for L1 and L2 of GLO the frequency channel; otherwise only named in the warning
/// \return frequency [MHz]; 0.0 after a warning
double get_obs_frequency(sysGNSS satsys, OBSFREQ band, int prn);

/// Fills a configuration from built-in defaults: two bands, ionosphere-free, for GPS, GAL and BDS; any other system
/// gets only its entry. More than three systems: the excess is dropped with a warning.
/// \param config   [out] the configuration
/// \param nsys     number of systems, at most 3
/// \param systems  the systems, in order
void set_gnssconfig_system(GNSSCONFIG* config, int nsys, sysGNSS* systems);

/// Fills the global configuration from a text file with the sections GNSS_SYS and GENERAL_CONFIG. The elevation mask,
/// slip thresholds and Huber parameters that the file lacks keep what the record held.
/// Logs "Reading gnssconfig=%s" (info) at the end; one warning for each limit that the file exceeds (3 systems, 10
/// observables and 3 bands of a system, 30 fields of a line, positions of the ionosphere-free pair); the excess
/// is dropped.
/// A file that can't be opened: logs "gnssconfig file open failed, stopping" (error) and ends the process.
/// \param configfile  file name; null is logged (error, with source locator) and changes nothing
void set_gnssconfig_from_file(char* configfile);

/// Position of a system in a configuration.
/// \param sys     the system
/// \param config  the configuration
/// \return index into sys_used; -1 when the system isn't processed
int get_gnssconfig_sys_index(sysGNSS sys, GNSSCONFIG* config);

LEOPOD_END_DECLS
#endif
