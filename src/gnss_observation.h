/// \file gnss_observation.h
/// Epoch records, choice of satellites and observables, linear combinations, RINEX observation files, the observation store.
#ifndef LEOPOD_GNSS_OBSERVATION_H
#define LEOPOD_GNSS_OBSERVATION_H

#include "gnss_config.h"
#include "gtime.h"
#include "leopod_api.h"

LEOPOD_BEGIN_DECLS

/// Values of flag_epoch, flag_sat and flag_obs; 0 means usable.
typedef enum _OBS_EXCEPTIONS_ LEOPOD_ENUM_BASE {
    OBS_OK = 0,
    LOW_ELE = 1,
    SAT_UKN = 2,
    SAT_NOT_USED = 3,
    SATPOS_ERROR = 4,
    CLOCK_JUMP = 5,
    GROSS_ERROR = 6,
    OBS_UKN = 7  ///< a record that nobody has filled
} _OBS_EXCEPTIONS_;

/// One observation.
typedef struct OBSREC {
    int flag_obs;     ///< an _OBS_EXCEPTIONS_ value
    OBSFREQ freq;     ///< band
    OBSTYPE type;     ///< range, phase, Doppler, signal strength
    OBSCODE code;     ///< tracking code
    int LLI;          ///< loss-of-lock indicator
    double value;     ///< as the file gives it: range [m], phase [cycle]
    double sigma;     ///< a-priori standard deviation, set by the reader
    double residual;  ///< filled by the estimator
} OBSREC;

/// One satellite in one epoch.
typedef struct OBSDATA_SAT {
    int prn;                   ///< -1 in an empty slot
    sysGNSS satsys;            ///< system
    int num_obs;               ///< valid entries of obsdata
    int flag_sat;              ///< an _OBS_EXCEPTIONS_ value
    int obs_index_used[10];    ///< per configured observable: position in obsdata, or -1
    int num_obs_used;          ///< configured observables found
    double satpos_ecf[3];      ///< satellite position, earth-fixed [m]
    double satvel_ecf[3];      ///< satellite velocity, earth-fixed [m/s]
    double satclk_offset;      ///< satellite clock offset [s]
    double satclk_drift;       ///< satellite clock drift [s/s]
    double satclk_drift_rate;  ///< satellite clock drift rate [s/s^2]
    double sat_azel[2];        ///< azimuth and elevation [rad]
    OBSREC obsdata[10];        ///< the records
} OBSDATA_SAT;

/// One epoch. Fixed in size, copied by value.
typedef struct OBSDATA_EPOCH {
    GTime epoch_time;        ///< epoch tag
    int rcv;                 ///< receiver number; -1 in an empty record
    int flag_epoch;          ///< an _OBS_EXCEPTIONS_ value, or the RINEX epoch flag
    int sat_num;             ///< satellites in satobs
    OBSDATA_SAT satobs[15];  ///< the satellites
} OBSDATA_EPOCH;

/// Epochs, owned by the host and pointed to before the first load. The capacity is the caller's: the readers allocate
/// nothing and know no bound, so the array must hold the epochs of all files that are loaded, and one more for
/// get_obs_epoch.
extern OBSDATA_EPOCH* g_obs_storage;
extern int g_num_obs_storage;  ///< valid epochs

/// Resets one epoch: rcv -1, flag_epoch OBS_UKN, no satellites, time all zero (UKNTS); every slot prn -1, UKNSYS,
/// flag_sat OBS_UKN, no records. obs_index_used is left as it is: it means something only behind choose_observation.
/// \param obsdata_eopch  [out] the record
void initialize_obsdata_epoch(OBSDATA_EPOCH* obsdata_eopch);

/// Finds the records that stand for the observables configured in gnssconfig: fills obs_index_used (-1: absent) and
/// num_obs_used of every satellite of a configured system. Type, band and code must be equal, and the value finite and above 0.001 in size; of
/// several records the last wins.
/// \param obsepoch  [in,out] the epoch
void choose_observation(OBSDATA_EPOCH* obsepoch);

/// Chooses the satellites of an epoch that take part: flag_sat OBS_OK, a satellite index, a configured system, and all
/// configured observables present. To be called behind choose_observation.
/// \param obsepoch             the epoch
/// \param satlist_in_obsepoch  [out] at least MAXSAT_EPOCH entries: positions in satobs
/// \param satlist_satindex     [out] at least MAXSAT_EPOCH entries: satellite indices
/// \return number of satellites kept, at least 1
/// Logs a warning for a satellite without index (every GAL and GLO satellite), an information for one with missing
/// observables.
/// Ends the process, with an error report, if no satellite is kept.
int choose_satellite(OBSDATA_EPOCH* obsepoch, int* satlist_in_obsepoch, int* satlist_satindex);

/// Multipath combinations of two frequencies. Not finite for equal frequencies.
/// \param phase  2 phases [m]
/// \param range  2 ranges [m]
/// \param freq   2 carrier frequencies, any common unit
/// \param MP     [out] 2 combinations [m]: with a = (f1/f2)^2, P1 - (1 + 2/(a-1)) L1 + 2/(a-1) L2 and P2 - 2a/(a-1) L1
///               + (2a/(a-1) - 1) L2
void get_multipath_combination(double* phase, double* range, double* freq, double* MP);

/// Ionosphere-free combinations of two frequencies. Not finite for equal frequencies.
/// \param obs_phase       2 phases [m], or null to ask for the factors alone
/// \param obs_range       2 ranges [m], or null to ask for the factors alone
/// \param freq_value      2 carrier frequencies, any common unit
/// \param IF_combination  [out] 2 values [m]: range, phase; may be null
/// \param factor          [out] 2 factors f1^2/(f1^2 - f2^2) and -f2^2/(f1^2 - f2^2); may be null
/// Logs an error, and writes nothing, for a null freq_value.
void get_ionosphere_free_combination(double* obs_phase, double* obs_range, double* freq_value, double* IF_combination,
                                     double* factor);

/// Reads a RINEX observation file, version 2 or 3, behind the epochs of g_obs_storage, then sorts the whole store by
/// time and removes epochs of equal time, whatever their receiver. Times are GPS time whatever the header says. Values
/// are stored as the file gives them, blanks as 0; sigma is 0.3 for ranges, 0.002 for phases, 0 for the rest. Of an
/// epoch the first 15 satellites (in version 3 those of systems that the header lists), of a system the first 10 types, of a
/// version 3 header the first 3 systems are kept, each excess dropped with one warning a file, as are epochs without a date.
/// \param filename_rinex  name of the file
/// \param rcvno           receiver number for rcv
/// \param sample_rate     [s]: keeps epochs whose second of day is a multiple within 1 %; 0 keeps all
/// \return false, with a warning, if the file cannot be opened, is empty or no observation file; false, with an error
///         report, if g_obs_storage is null. A version below 2 logs an error, reads nothing and gives true. With
///         nothing read into an empty store the count becomes 1: it claims one record that is left untouched.
/// Logs the counts at information level.
/// Source: RINEX 2.11, RINEX 3.05.
bool load_observation_rinex(char* filename_rinex, int rcvno, double sample_rate);

/// Reads the observation types of a RINEX 2 header, up to the end of the header. All codes of a type line are read from
/// that line: a count above 9, which goes on in a further line, takes codes from the label, with warnings.
/// \param pf               the open file, behind its first line
/// \param obs_freq_header  [out] 10 bands, one a column
/// \param obs_type_header  [out] 10 types
/// \param obs_code_header  [out] 10 codes
/// \return number of types as the file counts them, also above 10 (logged as a warning); -1 for a null file
int resolve_rnx_header_v20(FILE* pf, OBSFREQ* obs_freq_header, OBSTYPE* obs_type_header, OBSCODE* obs_code_header);

/// Reads the systems and observation types of a RINEX 3 header, up to its end or to the first system letter other than
/// G, C, J, I, S.
/// \param pf                  the open file, behind its first line
/// \param sysall              [out] 3 systems, in the order of the file
/// \param numobs              [out] 3 counts of types, at most 10 each
/// \param obs_type_freq_code  [out] 3 x 10 observables
/// \return number of systems; -1 for a null file
/// Logs a warning for J, I and S (passed over), and for the letter that ends the header.
int resolve_rnx_header_v30(FILE* pf, sysGNSS* sysall, int* numobs, TYPE_FREQ_CODE (*obs_type_freq_code)[10]);

/// Reads the epochs of a RINEX 2 file into g_obs_storage. Only epochs of flag 0 are taken; a satellite with fields past
/// the end of its line has later values moved up; after the full lines of five values one more line is read for the
/// rest, also when there is no rest.
/// \param pf               the open file
/// \param epoch_index      where to start in the store
/// \param rcvno            receiver number for rcv
/// \param num_obs_code     number of types of the file
/// \param obs_freq_header,obs_type_header,obs_code_header  10 entries each, as the header gave them
/// \param sample_rate      [s]: as load_observation_rinex
/// \return the next free index; -1 for a null file; epoch_index, with an error report, if g_obs_storage is null
/// Logs a warning "nobsnum(%d) >= MAXOBS_PER_SAT(%d)" for more than 10 values on the full lines of a satellite.
int resolve_rnx_record_v20(FILE* pf, long int epoch_index, int rcvno, int num_obs_code, OBSFREQ* obs_freq_header,
                           OBSTYPE* obs_type_header, OBSCODE* obs_code_header, double sample_rate);

/// Reads the epochs of a RINEX 3 file into g_obs_storage. Only epochs of flag 0 are taken. Satellites of systems that
/// are not listed take no slot, while sat_num keeps the file's count (at most 15): the slots behind the last kept
/// satellite are empty or hold the last dropped one without records. Loss-of-lock and signal-strength digits are not
/// read.
/// \param pf                  the open file
/// \param epoch_index         where to start in the store
/// \param rcvno               receiver number for rcv
/// \param nsys                number of systems, at most 3
/// \param sysall              the systems
/// \param numobs              counts of types
/// \param obs_type_freq_code  3 x 10 observables
/// \param sample_rate         [s]: as load_observation_rinex
/// \return the next free index; -1 for a null file; epoch_index, with an error report, if g_obs_storage is null
int resolve_rnx_record_v30(FILE* pf, long int epoch_index, int rcvno, int nsys, sysGNSS* sysall, int* numobs,
                           TYPE_FREQ_CODE (*obs_type_freq_code)[10], double sample_rate);

/// Order of two epochs by time, for qsort. A time of unknown system comes before every known one.
/// \param a,b  the epochs (OBSDATA_EPOCH)
/// \return -1, 0 or 1
int cmp_sort_obsdata_epoch(const void* a, const void* b);

/// Sorts epochs by cmp_sort_obsdata_epoch.
/// \param obs_list  [in,out] the epochs
/// \param nsize     their number
/// Logs an error for a null list.
void sort_observation_storage(OBSDATA_EPOCH* obs_list, size_t nsize);

/// Sorts epochs and removes those of equal time, whatever their receiver; the first in sorted order stays. Times of
/// different systems count as different.
/// \param num_epoch    number of epochs
/// \param obs_storage  [in,out] the epochs
/// \return the new number; 1 for num_epoch 0 and, with an error report, for a null array
int remove_duplicate_gnss_observation(int num_epoch, OBSDATA_EPOCH* obs_storage);

/// Finds the epoch of a time by bisection in a sorted list. A time before the first or behind the last epoch gives the
/// first or last index, whatever the threshold.
/// \param obs_list       the epochs
/// \param nsize          their number
/// \param time_target    the time, of the time system of the epochs
/// \param threshold_sec  largest difference [s]
/// \return index, or -1 if no epoch is within the threshold or the list is empty or null
/// Ends the process, as gtimeSubSec, if the time systems differ.
int match_observation_storage(OBSDATA_EPOCH* obs_list, size_t nsize, GTime time_target, double threshold_sec);

/// Address of one epoch of g_obs_storage.
/// \param index  0 to g_num_obs_storage; the upper bound is closed and reaches one record past the last
/// \param rcvno  the receiver that the epoch must have
/// \return the epoch, or null
OBSDATA_EPOCH* get_obs_epoch(int index, int rcvno);

/// Whether one record of an epoch is usable: all three flags OBS_OK and both positions within the counts.
/// \param sat_idx_epoch    position in satobs
/// \param obs_idx_obsdata  position in obsdata
/// \param obsepoch         the epoch
/// \param obsrec           not used and not written
/// \return true if it is
bool get_obs_record(int sat_idx_epoch, int obs_idx_obsdata, OBSDATA_EPOCH* obsepoch, OBSREC* obsrec);

/// Header of a RINEX 3.05 observation file. The types come from the first usable epoch (flag_epoch OBS_OK) at or behind
/// the middle of the array, for systems up to GAL; without one they are left out.
/// \param version          not used
/// \param rcvno            marker number
/// \param num_obs_storage  number of epochs
/// \param obs_storage      the epochs, in order of time
/// \param header_txt       [out] room for 10240 characters
/// Logs an error for a system with 14 or more types, whose line is left out.
void generate_rinex_header(double version, int rcvno, int num_obs_storage, OBSDATA_EPOCH* obs_storage,
                           char* header_txt);

/// Writes the epochs with flag_epoch OBS_OK, whatever their receiver, as a RINEX 3.05 observation file. The values of a
/// satellite stand in the order of its records.
/// \param filename_rinex   name of the file
/// \param rcvno            marker number
/// \param version          not used
/// \param num_obs_storage  number of epochs
/// \param obs_storage      the epochs, in order of time
/// \return false, with a warning, if the file cannot be opened
bool write_rinex_observation(char* filename_rinex, int rcvno, double version, int num_obs_storage,
                             OBSDATA_EPOCH* obs_storage);

LEOPOD_END_DECLS
#endif
