/// \file obs_processing.h
/// Measurement models and preprocessing: light time, antenna and group-delay corrections, cycle slips and combinations,
/// wind-up, troposphere and ionosphere; the records of a solution and of a satellite's tracking state.
#ifndef LEOPOD_OBS_PROCESSING_H
#define LEOPOD_OBS_PROCESSING_H

#include "gnss_config.h"
#include "gnss_observation.h"
#include "gnss_satposition.h"
#include "gtime.h"
#include "leopod_api.h"

LEOPOD_BEGIN_DECLS

/// Parameters of the epoch-wise filter.
typedef enum PARAM_TYPE LEOPOD_ENUM_BASE {
    param_RX_POS_X = 0,
    param_RX_POS_Y,
    param_RX_POS_Z,
    param_RX_VEL_X,
    param_RX_VEL_Y,
    param_RX_VEL_Z,
    param_RX_GPS_CLK,
    param_RX_BDS_CLK,
    param_RX_GAL_CLK,
    param_TX_POS_X,
    param_TX_POS_Y,
    param_TX_POS_Z,
    param_TX_VEL_X,
    param_TX_VEL_Y,
    param_TX_VEL_Z,
    param_TX_GPS_CLK,
    param_TX_BDS_CLK,
    param_TX_GAL_CLK,
    param_ZWD,
    param_AMB
} PARAM_TYPE;

/// Maps a parameter to its slot in the state, or -1.
typedef int (*index_param_func)(PARAM_TYPE pt, sysGNSS satsys, int prn, int ifreq, int* satlist_satindex);

/// Outcome of a positioning.
typedef enum STATUS_SOL LEOPOD_ENUM_BASE {
    SOL_OK = 0,               ///< converged
    SOL_SPP = 1,              ///< not returned
    SOL_PPP = 2,              ///< not returned
    SOL_DYN = 3,              ///< not returned
    SOL_SPP_ERROR = 4,        ///< not returned
    SOL_SPP_LACK_SAT = 5,     ///< fewer than 4 satellites at an iteration
    SOL_ITER_EXCEED = 6,      ///< iteration limit reached
    SOL_OBS_BAD = 7,          ///< missing epoch or bad epoch flag
    SOL_CHI2_TEST_FAILED = 8  ///< not returned
} STATUS_SOL;

/// A point position.
typedef struct SOLUTION {
    char type;               ///< 'C'
    STATUS_SOL status;       ///< outcome
    GTime time_epoch;        ///< observation tag
    double pos_vel_clk[12];  ///< position [m, ECEF], velocity (0), from 6 one receiver clock [m] per system index
    double sigma;            ///< a-posteriori unit-weight standard deviation
    double gdop;             ///< root of the sum of the squared position variances
    int nsat;                ///< satellites of the last iteration
    char msg[256];           ///< outcome text
} SOLUTION;

/// Tracking state of one satellite.
typedef struct SAT_STATE {
    sysGNSS satsys;
    int prn;
    int flag_fix[2];      ///< reserved
    int flag_slip[2];     ///< 0 continuous, 1 slip at this epoch, 2 never seen
    int flag_half[2];     ///< reserved
    double amb_float[2];  ///< code-derived ambiguity [m]
    double amb_sigma[2];  ///< its standard deviation [m]
    double amb_fixed[2];  ///< reserved
    int lock[2];          ///< reserved
    int outc[2];          ///< reserved
    int slipc[2];         ///< reserved
    double gf_phase[1];   ///< geometry-free phase [m]
    double gf_range[1];   ///< geometry-free range, P1 - P2 [m]
    double if_phase[1];   ///< ionosphere-free phase [m]
    double if_code[1];    ///< ionosphere-free code [m]
    double mw[1];         ///< Melbourne-Wuebbena value [cycle]
    double mpc[2];        ///< multipath combinations [m]
    double phw;           ///< accumulated wind-up [cycle]
    ANT_INFO* ant_info;   ///< transmitter antenna, borrowed from the antenna store
} SAT_STATE;

// --- signal propagation and geometry ---------------------------------------------------------------------------------

/// Light time from a measured pseudorange, without iteration; the receiver clock does not enter. All in one earth-fixed
/// frame: the earth's rotation during the light time is the caller's.
/// \param obstime  reception tag
/// \param satindex  satellite index
/// \param range  pseudorange [m]
/// \param station_pos  receiver position, earth-fixed [m]
/// \param satposvel  [out] satellite position and velocity at transmission, earth-fixed [m, m/s], 6 numbers
/// \param satclk  [out] satellite clock offset and drift [s, s/s], 2 numbers
/// \param tgd  [out] broadcast group delay [s]
/// \return light time [s], 0.0 where compute_satposvel fails
double propagation_time_use_range(GTime obstime, int satindex, double range, double* station_pos, double* satposvel,
                                  double* satclk, double* tgd);

/// Light time by fixed-point iteration from 0.075 s to 1e-12 s, at most 21 passes. The result is the value that gave satposvel.
/// \param rcv_clock  receiver clock [m]
/// \param obstime,satindex,station_pos,satposvel,satclk,tgd  as in propagation_time_use_range
/// \return light time [s], 0.0 where compute_satposvel fails
/// Logs at warning level: a failure of compute_satposvel.
double propagation_time_iterate(GTime obstime, int satindex, double rcv_clock, double* station_pos, double* satposvel,
                                double* satclk, double* tgd);

/// Antenna offset along a line of sight.
/// \param antinfo  antenna; may be null
/// \param mjd_now  Modified Julian Date, strictly inside the antenna's validity
/// \param freq  band, one of the antenna's two
/// \param ex_platform,ey_platform  platform axes in the frame of signal_los
/// \param ez_platform  not read: the third term of the sum takes ey_platform as well
/// \param signal_los  unit line of sight
/// \param offset_in_platform  further offset in platform axes [m]; may be null
/// \return offset [m], 0.0 where the antenna has none to give
double get_ant_pco_correction(ANT_INFO* antinfo, double mjd_now, OBSFREQ freq, double* ex_platform, double* ey_platform,
                              double* ez_platform, double* signal_los, double* offset_in_platform);

/// Group delay of a signal from the broadcast record in use (g_eph_brdc_now).
/// \param satsys,prn  satellite
/// \param band,code  signal
/// \return group delay [m]; 0.0 for signals and systems without one, and without a record
/// Logs at error level: GAL.
double get_tgd(sysGNSS satsys, int prn, OBSFREQ band, OBSCODE code);

/// Does nothing.
/// \param nobs,nx,A,W,R  not used
void compute_obs_redundancy(int nobs, int nx, double* A, double* W, double* R);

// --- cycle slips, ambiguities, wind-up -------------------------------------------------------------------------------

/// Combinations and cycle-slip marks of every satellite of an epoch, once per epoch. A slip is half a jump from the last value of
/// the Melbourne-Wuebbena (cycle) or geometry-free (metre) combination above its threshold, or the first appearance (flag 2).
/// A satellite without state, or without one of its four records, keeps its state. Does not allocate.
/// \param obs_epoch  epoch after choose_observation; nothing happens for null or a flag_epoch other than 0
/// \param gnsscfg  configuration: thresholds and observables of the ionosphere-free pair
/// \param runtime_state  97 tracking states by satellite index
/// Logs at warning level: satellites left out, missing records; at trace level: slips.
/// Source: W. G. Melbourne, 1985; G. Wuebbena, 1985.
void get_gf_mw(OBSDATA_EPOCH* obs_epoch, GNSSCONFIG* gnsscfg, SAT_STATE* runtime_state);

/// Phase minus code as float ambiguity of every usable satellite, per frequency or ionosphere-free, by gnssconfig. Does not
/// allocate.
/// \param obsepoch  epoch after choose_observation
/// \param sat_state_all  97 tracking states by satellite index; amb_float and amb_sigma [m] are written
void get_amb_from_pseudorange(OBSDATA_EPOCH* obsepoch, SAT_STATE* sat_state_all);

/// Phase wind-up of crossed dipoles, continuous with the last value.
/// \param exs,eys  transmitter axes x and y
/// \param ek  unit line of sight
/// \param exr,eyr  receiver axes x and y, in the frame of all
/// \param phw  [in,out] wind-up [cycle]; 0 if any vector is zero
/// Source: J. T. Wu et al., Effects of antenna orientation on GPS carrier phase, Manuscripta Geodaetica 18, 1993.
void model_phase_windup(double* exs, double* eys, double* ek, double* exr, double* eyr, double* phw);

/// Probability that the nearest integer is the right ambiguity.
/// \param amb_float,sigma_amb  ambiguity and its standard deviation [cycle]
/// \return probability
/// Source: D. Dong and Y. Bock, GPS network analysis with phase ambiguity resolution, J. Geophys. Res. 94, 1989.
double ambfix_nearest_integer(double amb_float, double sigma_amb);

/// Does nothing.
/// \param sat_state  not used
void clear_sat_state(SAT_STATE* sat_state);

// --- troposphere -----------------------------------------------------------------------------------------------------

/// Standard atmosphere from -100 to 10000 m.
/// \param blh  latitude, longitude [rad], height [m]
/// \param pres  [out] pressure [hPa], 0 outside
/// \param temp  [out] temperature [K], -273.15 outside
void standard_pres_temp(double* blh, double* pres, double* temp);

/// Zenith delays of the troposphere, 0 outside -100 to 10000 m.
/// \param blh  latitude, longitude [rad], height [m]
/// \param temp,pres  temperature [K], pressure [hPa]
/// \param humi  relative humidity, 0 to 1
/// \param zhd_zwd  [out] hydrostatic and wet delay [m]
/// \return their sum [m]
/// Source: J. Saastamoinen, 1972.
double saastamonien(double* blh, double temp, double pres, double humi, double* zhd_zwd);

/// Cosecant mapping.
/// \param el  elevation [rad]
/// \param map_dry_wet  [out] both 1/sin el, 0 below 1e-06 rad
/// \return their mean
double MappingFunction_simple(double el, double* map_dry_wet);

/// Linear interpolation in a row of values at 15, 30, 45, 60, 75 degrees, constant outside.
/// \param coef  5 values
/// \param lat  latitude [deg]; negative or not a number gives the first value
/// \return the interpolated value
double interp_function(const double* coef, double lat);

/// Continued-fraction mapping, 1 at the zenith.
/// \param el  elevation [rad]
/// \param a,b,c  coefficients
/// \return mapping factor
double mapf(double el, double a, double b, double c);

/// Niell mapping functions.
/// \param doy  day of the year; one day is added to it
/// \param pos_lat_lon_hgt  latitude, longitude [rad], height [m]
/// \param azel  azimuth, elevation [rad]
/// \param map_dry_wet  [out] hydrostatic and wet map; may be null
/// \return mean of the two; 0 for a null output or an elevation below 1e-06 rad, whose maps are 0
/// Source: A. E. Niell, J. Geophys. Res. 101(B2), 1996.
double NMF(double doy, double* pos_lat_lon_hgt, double* azel, double* map_dry_wet);

/// Slant delay of the troposphere; 0 above 10 km, with the maps filled up to 50 km.
/// \param mjd_gpst  Modified Julian Date, passed to NMF unchanged as the day of the year
/// \param blh  latitude, longitude [rad], height [m]
/// \param azel  azimuth, elevation [rad], used as given
/// \param dry,wet  [out] zenith delay [m] and map, 2 numbers each; may be null
/// \param humi  relative humidity, 0 to 1
/// \return delay [m]
double trop_delay(double mjd_gpst, double* blh, double* azel, double* dry, double* wet, double humi);

// --- ionosphere ------------------------------------------------------------------------------------------------------

/// Mapping factor of a thick shell for low orbits; the ratio is formed with the height as divisor.
/// \param blh  latitude, longitude [rad], height [m]
/// \param azel  azimuth, elevation [rad]
/// \return mapping factor
/// Source: U. Foelsche and G. Kirchengast, Geophys. Res. Lett. 29, 2002.
double iono_map_FK_LEO(double* blh, double* azel);

/// Mapping factor of a layer at 350 km, 1.0 at and above it.
/// \param blh  latitude, longitude [rad], height [m]
/// \param azel  azimuth, elevation [rad]
/// \return mapping factor
double iono_map_single_layer(double* blh, double* azel);

/// Mapping factor of a layer at 400 km over a sphere of 6378 km, receiver on the ground.
/// \param azel  azimuth, elevation [rad]
/// \return mapping factor
double iono_map_BDGIM(double* azel);

/// Point where a line of sight crosses a layer.
/// \param blh  latitude, longitude [rad], height [m] of the receiver
/// \param azel  azimuth, elevation [rad]
/// \param RE,hion  radius of the earth and height of the layer [m]
/// \param pblh  [out] latitude, longitude [rad], height [m] of the point
/// \return slant factor
double iono_pierce_point(double* blh, double* azel, double RE, double hion, double* pblh);

/// Reserved for the model of Galileo.
/// \param a,user_geo,sat_geo,UT,mth  not used
/// \return 0.0
double Nequick_GAL(double* a, double* user_geo, double* sat_geo, double UT, int mth);

/// Ionospheric delay on L1 by the single-frequency model of GPS.
/// \param a,b  4 broadcast coefficients each, of amplitude and period
/// \param tE  second of the week or day
/// \param user_geo  latitude, longitude [rad]
/// \param azel  azimuth, elevation [rad], used as given
/// \return delay [m]
/// Source: IS-GPS-200, 20.3.3.5.2.5.
double Klobuchar_GPS(double* a, double* b, double tE, double* user_geo, double* azel);

/// Ionospheric delay on B1 by the eight-parameter model of BDS.
/// \param a,b,tE,user_geo,azel  as in Klobuchar_GPS
/// \return delay [m]
/// Source: BeiDou open service interface document, B1I, 5.2.4.7.
double Klobuchar_BDS(double* a, double* b, double tE, double* user_geo, double* azel);

/// Klobuchar_GPS scaled to slant content: over 4.03e17/f^2/1e13 with f in MHz.
/// \param a,b,tE,user_geo,azel  as in Klobuchar_GPS
/// \return scaled slant content
double Klobuchar_GPS_stec(double* a, double* b, double tE, double* user_geo, double* azel);

/// Klobuchar_BDS scaled to slant content: over 4.03e17/f^2/1e13 with f in MHz.
/// \param a,b,tE,user_geo,azel  as in Klobuchar_GPS
/// \return scaled slant content
double Klobuchar_BDS_stec(double* a, double* b, double tE, double* user_geo, double* azel);

LEOPOD_END_DECLS
#endif
