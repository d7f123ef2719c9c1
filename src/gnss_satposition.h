/// \file gnss_satposition.h
/// GNSS satellites: broadcast navigation files and their evaluation, precise orbit and clock products, antenna data.
#ifndef LEOPOD_GNSS_SATPOSITION_H
#define LEOPOD_GNSS_SATPOSITION_H

#include "gnss_config.h"
#include "gtime.h"
#include "leopod_api.h"

LEOPOD_BEGIN_DECLS

enum {
    MAXEPH_BRDC = 100,        ///< broadcast records of a satellite
    MAXEPOCH_EPH_PRE = 8640,  ///< precise orbit records of a satellite
    MAXEPOCH_CLK_PRE = 8640,  ///< precise clock records of a satellite
    MAXNUM_FREQ = 2           ///< frequencies of an antenna
};

/// One GPS broadcast record; TOC in GPS time.
typedef struct EPHREC_GPS {
    int prn;
    TimeYMD TOC;
    double sv_clock_bias;        ///< [s]
    double sv_clock_drift;       ///< [s/s]
    double sv_clock_drift_rate;  ///< [s/s^2]
    double IODE;
    double Crs;        ///< [m]
    double Delta_n;    ///< [rad/s]
    double M0;         ///< [rad]
    double Cuc;        ///< [rad]
    double e;          ///< eccentricity
    double Cus;        ///< [rad]
    double sqrt_A;     ///< [m^0.5]
    double TOE;        ///< second of week
    double Cic;        ///< [rad]
    double OMEGA0;     ///< [rad]
    double Cis;        ///< [rad]
    double i0;         ///< [rad]
    double Crc;        ///< [m]
    double omega;      ///< [rad]
    double OMEGA_dot;  ///< [rad/s]
    double i_dot;      ///< [rad/s]
    bool L2_code;
    int Week;
    bool L2_P;
    double sv_accuracy;  ///< [m]
    int sv_health;       ///< 0 is healthy
    double TGD;          ///< [s]
    double IODC;
    double transmission_msg_time;  ///< second of week
    double Fit_interval;           ///< [h]
    bool ok;                       ///< filled and not rejected
} EPHREC_GPS;

/// One BDS broadcast record; sat_type, Delta_n_dot, delta_A, A_dot and ISC_B1Cd are set by the caller only.
typedef struct EPHREC_BDS {
    int prn;
    int sat_type;                ///< 0 classic element set, else the new one
    TimeYMD TOC;                 ///< BDS time
    double sv_clock_bias;        ///< [s]
    double sv_clock_drift;       ///< [s/s]
    double sv_clock_drift_rate;  ///< [s/s^2]
    double AODE;
    double Crs;          ///< [m]
    double Delta_n;      ///< [rad/s]
    double Delta_n_dot;  ///< [rad/s^2]
    double M0;           ///< [rad]
    double Cuc;          ///< [rad]
    double e;
    double Cus;        ///< [rad]
    double sqrt_A;     ///< [m^0.5]
    double delta_A;    ///< [m]
    double A_dot;      ///< [m/s]
    double TOE;        ///< second of week
    double Cic;        ///< [rad]
    double OMEGA0;     ///< [rad]
    double Cis;        ///< [rad]
    double i0;         ///< [rad]
    double Crc;        ///< [m]
    double omega;      ///< [rad]
    double OMEGA_dot;  ///< [rad/s]
    double i_dot;      ///< [rad/s]
    int Week;
    double sv_accuracy;  ///< [m]
    int sv_health;
    double TGD_B1_B3;              ///< [s]
    double TGD_B2_B3;              ///< [s]
    double ISC_B1Cd;               ///< [s]
    double transmission_msg_time;  ///< second of week
    double AODC;
    bool ok;
} EPHREC_BDS;

/// One Galileo broadcast record. Nothing fills it.
typedef struct EPHREC_GAL {
    int prn;
    TimeYMD TOC;
    double sv_clock_bias;
    double sv_clock_drift;
    double sv_clock_drift_rate;
    double IODnav;
    double Crs;
    double Delta_n;
    double M0;
    double Cuc;
    double e;
    double Cus;
    double sqrt_A;
    double TOE;
    double Cic;
    double OMEGA0;
    double Cis;
    double i0;
    double Crc;
    double omega;
    double OMEGA_dot;
    double i_dot;
    int Data_sources;
    int Week;
    double SISA;
    int sv_health;
    double BGD_E5a_E1;
    double BGD_E5b_E1;
    double transmission_msg_time;
    bool ok;
} EPHREC_GAL;

/// One GLONASS broadcast record. Nothing fills it.
typedef struct EPHREC_GLO {
    int SlotNum;
    TimeGNSS RefTime;
    double ClockBias;
    double FreqBias;
    double Tk;
    double Pos[3];
    double Vel[3];
    double Acc[3];
    int Health;
    double FreqNum;
    double InforAge;
} EPHREC_GLO;

/// Broadcast store: row prn - 1, records in order of reading, ok = false marks an empty slot.
typedef struct EPHBRDC_STORE {
    EPHREC_GPS eph_brdc_gps_all[33][100];
    EPHREC_BDS eph_brdc_bds_all[64][100];
    EPHREC_GAL eph_brdc_gal_all[1][100];  ///< never filled
    EPHREC_GLO eph_brdc_glo_all[1][100];  ///< never filled
    int update_index;                     ///< never used
} EPHBRDC_STORE;

/// The record in use per satellite, indexed by prn - 1; null where none.
typedef struct EPHBRDC_NOW {
    EPHREC_GPS* eph_brdc_gps_now[33];
    EPHREC_BDS* eph_brdc_bds_now[64];
    EPHREC_GAL* eph_brdc_gal_now[1];
    EPHREC_GLO* eph_brdc_glo_now[1];
} EPHBRDC_NOW;

/// Source of satellite positions.
typedef enum EPHOPT LEOPOD_ENUM_BASE { EPHOPT_BRDC = 0, EPHOPT_PREC = 1, EPHOPT_RTCM = 2 } EPHOPT;

/// One precise orbit record.
typedef struct EPHREC_PRE {
    GTime time;
    sysGNSS satsys;
    int prn;
    double pos_ecf[3];  ///< [m]
    double vel_ecf[3];  ///< [m/s]; the reader leaves it zero
    double sigma[6];    ///< unused
    bool ok;
} EPHREC_PRE;

/// One precise clock record.
typedef struct CLKREC_PRE {
    GTime time;
    sysGNSS satsys;
    int prn;
    double clk_offset;  ///< [s]
    double clk_drift;   ///< [s/s]
    bool ok;
} CLKREC_PRE;

/// Precise products: rows by satindex, records in time order.
typedef struct EPHPREC_STORE {
    bool update;  ///< unused
    EPHREC_PRE eph_pre_all[98][8640];
    CLKREC_PRE clk_pre_all[98][8640];
    int idx_eph[98];  ///< orbit records in use
    int idx_clk[98];  ///< clock records in use
} EPHPREC_STORE;

/// One antenna: mean phase-centre offsets of at most two frequencies.
typedef struct ANT_INFO {
    bool ant_ok;                    ///< record is usable
    int idx_object;                 ///< satindex of a satellite antenna; -1 for a receiver antenna
    char ant_type[21];              ///< columns 0 to 19 of the file's line, blanks kept
    char ant_code[21];              ///< columns 20 to 39, blanks kept
    double mjd_available[2];        ///< start and end of validity, MJD UTC
    int freq_num;                   ///< filled entries of the next three fields
    double pco[2][3];               ///< offsets [m], in the file's order north, east, up
    OBSFREQ freqs[2];               ///< band of each entry
    sysGNSS satsys[2];              ///< system of each entry
    double installation_matrix[9];  ///< attitude of the antenna on the platform, row-major
} ANT_INFO;

/// Growing antenna store.
typedef struct ANT_INFO_STORE {
    ANT_INFO* antenna_info_storage;
    int num_antenna_info;
    int num_max_memory;
} ANT_INFO_STORE;

extern EPHBRDC_STORE* g_brdc_storage;                  ///< broadcast store in use, owned by the host
extern EPHBRDC_NOW g_eph_brdc_now;                     ///< records in use
extern EPHOPT g_eph_selection;                         ///< source of satellite positions
extern EPHPREC_STORE* g_prec_storage;                  ///< precise store in use, owned by the host
extern ANT_INFO_STORE* g_antenna_info_store;           ///< antenna store in use, owned by the host; null if none
extern double iono_brdc_GPS_A[4], iono_brdc_GPS_B[4];  ///< Klobuchar coefficients of GPS headers
extern double iono_brdc_BDS_A[4], iono_brdc_BDS_B[4];  ///< no header line reaches these
extern double iono_brdc_GAL_I[3];                      ///< NeQuick coefficients
extern double iono_brdc_QZS_A[4], iono_brdc_QZS_B[4];  ///< no reader

// --- broadcast navigation files --------------------------------------------------------------------------------------

/// Reads a RINEX navigation file into g_brdc_storage. GPS (version 2 and 3) and BDS (version 3) records are appended to
/// their rows, the ionosphere globals are filled from the header; everything else is passed over. The store must be zero
/// before the first load. Several files accumulate; the row counters live as long as the process. Version 2 and version 3
/// GPS records count separately, so that the later file overwrites the earlier one's slots.
/// \param brdcfilename  path of the file
/// \return false if the file is missing, empty or no navigation file, or if there is no store
/// Logs at error level why it failed, at info level the name of a loaded file, and one warning a file when a row is full
/// (100 records): the excess is dropped. A record whose first line is incomplete, or whose number lies outside the rows,
/// is dropped silently. The end of the file inside a record leaves its last line for the remaining fields.
/// Source: RINEX 2.11 and 3.05, navigation message file.
bool load_ephemeris_brdc(char* brdcfilename);

/// Reads the rest of a version 2 header: "ION ALPHA" and "ION BETA" fill iono_brdc_GPS_A and iono_brdc_GPS_B.
/// \param pf  open file, behind the first line
/// \return true if "END OF HEADER" was reached
bool resolve_header_brdc_v20(FILE* pf);

/// Reads the rest of a version 3 header: "IONOSPHERIC CORR" lines GPSA, GPSB and GAL fill their globals. BDSA and BDSB never do.
/// \param pf  open file, behind the first line
/// \return true if "END OF HEADER" was reached
bool resolve_header_brdc_v30(FILE* pf);

/// Reads a version 2 body to the end of the file.
/// \param pf        open file, behind the header
/// \param brdc_xxx  system of the file: G stores GPS records, E calls the Galileo stub, other letters store nothing
void resolve_record_brdc_v20(FILE* pf, char brdc_xxx);

/// Reads a version 3 body to the end of the file: G, C and E lines start a record, all others are dropped.
/// \param pf  open file, behind the header
void resolve_record_brdc_v30(FILE* pf);

/// Reads one GPS record of version 2 into g_brdc_storage.
/// \param line_first  its first line; not changed
/// \param pf          open file, at the second line
/// \return false if the record was dropped; its further lines are then not read
bool resolve_brdc_record_gps_v2(char* line_first, FILE* pf);

/// Reads one GPS record of version 3 into g_brdc_storage.
/// \param line_first,pf  as in resolve_brdc_record_gps_v2
/// \return as resolve_brdc_record_gps_v2
bool resolve_brdc_record_gps_v3(char* line_first, FILE* pf);

/// Reads one BDS record of version 3 into g_brdc_storage, PRN 1 to 63.
/// \param line_first,pf  as in resolve_brdc_record_gps_v2
/// \return as resolve_brdc_record_gps_v2
bool resolve_brdc_record_bds_v3(char* line_first, FILE* pf);

/// Stub for Galileo records: reads nothing.
/// \param line_first,pf  not used
/// \return true
bool resolve_brdc_record_gal(char* line_first, FILE* pf);

// --- broadcast orbit and clock ---------------------------------------------------------------------------------------

/// Position, velocity and clock of a satellite at a transmission time, from the source that g_eph_selection names.
/// With precise products the periodic relativistic term -2 r.v/c^2 is added to the clock, and a time that the products
/// do not cover still gives true with whatever the outputs hold. A low orbiter has no broadcast data: true, outputs unchanged.
/// \param transmission_time  any time system with broadcast data; tsGPST with precise products
/// \param satindex           0 to 96
/// \param satposvel          [out] 6: earth-fixed position [m] and velocity [m/s]; may be null
/// \param satclk             [out] 2: clock offset [s] and drift [s/s], group delay not applied; may be null
/// \param tgd                [out] broadcast group delay [s], 0 with precise products; may be null
/// \return false for an unknown index or without a usable broadcast record; logged at error level
bool compute_satposvel(GTime transmission_time, int satindex, double* satposvel, double* satclk, double* tgd);

/// Chooses the GPS record nearest to a time, in either direction, and enters it into g_eph_brdc_now. A record exactly at its
/// TOE is not taken, and the nearest must be less than 7201 s away. Records with impossible elements lose their ok for good.
/// \param transmission_time  any time system
/// \param satindex           index of the satellite; its PRN gives the row
/// \return false if there is none; the entry is then null
/// Logs an unhealthy record at error level, a failed choice at warning level.
bool choose_eph_gps_brdc(GTime transmission_time, int satindex);

/// Chooses the BDS record nearest to a time, less than 3601 s away; of equal distances the later slot. No elements are tested.
/// \param transmission_time  any time system
/// \param satindex           index of the satellite; its PRN gives the row
/// \return false if there is none; the entry is then null
/// Logs an unhealthy record at info level, a failed choice or a bad index at error level.
bool choose_eph_bds_brdc(GTime transmission_time, int satindex);

/// Evaluates the GPS record in use. Without satposvel the clock has no relativistic term.
/// \param prn                1 to 33
/// \param transmission_time  any time system
/// \param satposvel          [out] 6: earth-fixed position [m] and velocity [m/s]; may be null
/// \param satclk             [out] 2: clock offset [s] and drift [s/s]; may be null
/// \return group delay TGD [s]; 0 without a record (logged at error level), or if sqrt_A <= 0 (nothing written)
/// Source: IS-GPS-200, user algorithm for ephemeris determination.
double compute_satposvelclk_gps_brdc(int prn, GTime transmission_time, double* satposvel, double* satclk);

/// Evaluates the BDS record in use with the classic element set. PRN 1 to 5 are geostationary and get zero velocity; the clock
/// drift has no relativistic part.
/// \param prn                               1 to 64
/// \param transmission_time,satposvel,satclk  as in compute_satposvelclk_gps_brdc
/// \return group delay TGD_B1_B3 [s]; 0 without a record (logged at error level)
/// Source: BDS-SIS-ICD-B1I, user algorithm.
double compute_satposvelclk_bds_brdc(int prn, GTime transmission_time, double* satposvel, double* satclk);

/// Evaluates the BDS record in use with the new element set (delta_A, A_dot, Delta_n_dot); sat_type 3 takes the
/// medium-orbit reference axis 27906100 m, others 42162200 m.
/// \param prn,transmission_time,satposvel,satclk  as in compute_satposvelclk_bds_brdc
/// \return as compute_satposvelclk_bds_brdc
/// Source: BDS-SIS-ICD-B1C, user algorithm.
double compute_satposvelclk_bds_brdc_v3(int prn, GTime transmission_time, double* satposvel, double* satclk);

/// Evaluates the Galileo record in use, which the caller has to enter into g_eph_brdc_now (prn 1 only).
/// \param prn,transmission_time,satposvel,satclk  as in compute_satposvelclk_gps_brdc
/// \return group delay BGD_E5a_E1 [s]; 0 without a record (logged at error level), or if sqrt_A <= 0 (nothing written)
/// Source: Galileo OS SIS ICD, user algorithm.
double compute_satposvelclk_gal_brdc(int prn, GTime transmission_time, double* satposvel, double* satclk);

// --- precise orbit and clock products --------------------------------------------------------------------------------

/// Reads positions and clocks of an SP3 file into g_prec_storage, sorts all rows, removes duplicates and selects EPHOPT_PREC.
/// Epochs count as GPS time whatever the header says; satellites without a row and velocity lines are dropped silently;
/// clocks of 0.099999 s and more (the bad-value marker) leave a gap. The last line needs its newline.
/// \param precfilename  path of the file
/// \return false for a null name or without a store
/// A missing file ends the process (error level, exit status 1). A full row (8640 records) gives a warning and ends the reading.
/// Source: SP3-c and SP3-d formats.
bool load_ephemris_prec(char* precfilename);

/// Reads the AS lines of a RINEX clock file, sorts all rows, removes duplicates and selects EPHOPT_PREC. Values from 99999.0 on
/// are dropped; a second value is taken as drift.
/// \param clkfilename  path of the file
/// \param eph_prec     store that receives the records; the row counts are those of g_prec_storage, the same store
/// \return false for an empty name, a missing file or without a store
/// A line with other than 1 or 2 values ends the process (error level, exit status 1). A full row gives a warning and ends the reading.
/// Source: RINEX clock format 3.00.
bool load_clock_prec(char* clkfilename, EPHPREC_STORE* eph_prec);

/// Order of precise orbit records by time; an unknown time system comes first.
/// \param a,b  pointers to EPHREC_PRE
/// \return -1, 0 (within 1e-9 s) or 1
int cmp_ephrec_pre(const void* a, const void* b);

/// Order of precise clock records, as cmp_ephrec_pre.
/// \param a,b  pointers to CLKREC_PRE
/// \return -1, 0 or 1
int cmp_clkrec_pre(const void* a, const void* b);

/// Sorts the rows 0 to 96 by time, orbits and clocks; records of equal time keep their order.
/// \param ephprec_store  store to sort
void sort_ephprec_storage(EPHPREC_STORE* ephprec_store);

/// Keeps the first record of each time in the sorted rows 0 to 96, orbits and clocks; empty rows stay empty.
/// \param ephprec_store  store to compact
void remove_duplicate_ephprec_storage(EPHPREC_STORE* ephprec_store);

/// Binary search for a time in a sorted row.
/// \param eph_all      records in time order
/// \param nsize        their number
/// \param time_target  time sought
/// \return the record of that time; else the last one looked at, a neighbour but not always the nearer one; the first or last
///         record for a time outside; -1 for an empty row
int find_closest_eph_prec(EPHREC_PRE* eph_all, int nsize, GTime time_target);

/// The same for clock records.
/// \param clk_all,nsize,time_target  as in find_closest_eph_prec
/// \return as find_closest_eph_prec
int find_closest_clk_prec(CLKREC_PRE* clk_all, int nsize, GTime time_target);

/// Interpolates the precise orbit: barycentric Lagrange through 11 records, fewer at the early end; zero positions are left out.
/// \param transmission_time  tsGPST; another time system ends the process
/// \param satindex           0 to 97
/// \param satposvel          [out] 6: earth-fixed position [m] and velocity [m/s]; unchanged on failure
/// \return false without records or outside their span; the latter is logged at warning level
bool compute_satposvel_prec(GTime transmission_time, int satindex, double* satposvel);

/// Interpolates the precise clock: barycentric Lagrange through 5 records.
/// \param transmission_time  tsGPST; another time system ends the process
/// \param satindex           0 to 97
/// \param satclk             [out] 2: offset [s] and drift [s/s]; zero on failure
/// \return false without records or outside their span; the latter is logged at warning level
bool compute_satclk_prec(GTime transmission_time, int satindex, double* satclk);

// --- antenna data ----------------------------------------------------------------------------------------------------

/// Loads an ANTEX file, or, with a null name, the built-in antennas (there are none).
/// \param antex_file      path of the file; may be null
/// \param ant_info_store  store that grows
/// \return false if the file could not be read; logged at warning level
bool load_antenna_storage(char* antex_file, ANT_INFO_STORE* ant_info_store);

/// Built-in antennas: none.
void antenna_GNSS_default(void);

/// Appends the antennas of an ANTEX file to a store, allocating it when it has no memory. The mean offsets of the first two
/// known frequencies of an antenna are kept; an antenna without one is dropped silently, phase-centre variations are passed over.
/// \param atx_filename            path of the file
/// \param ptr_antenna_info_store  store that grows; its memory is never freed here
/// \return false without a store (error level) or if the file is missing (trace level)
/// A validity date at the origin of the MJD count (error level) and failed memory growth (info level) end the process with
/// exit status 1.
/// Source: ANTEX 1.4.
bool read_atx(char* atx_filename, ANT_INFO_STORE* ptr_antenna_info_store);

/// Copies an antenna to the end of a store, which grows by 16 records when it is full.
/// \param ant_info                antenna to copy
/// \param ptr_antenna_info_store  store
/// \return false if the memory cannot grow (info level); the store is then unchanged
bool add_antenna_into_storage(ANT_INFO* ant_info, ANT_INFO_STORE* ptr_antenna_info_store);

/// Finds the first antenna of g_antenna_info_store that is valid at a date.
/// \param sat_rcv_index  satindex of a satellite antenna; looked at only without ant_type_code
/// \param ant_type_code  part of the antenna type; may be null
/// \param mjd_now        date, MJD UTC; 0.0 matches antennas with an open start
/// \return the antenna in the store, or null
ANT_INFO* search_ant_info(int sat_rcv_index, char* ant_type_code, double mjd_now);

LEOPOD_END_DECLS
#endif
