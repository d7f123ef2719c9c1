/// \file orbit_dynamics.h
/// Orbit dynamics: configuration and parameter registry, spacecraft state with variational equations, force models,
/// numerical integration, orbit fit, configuration file and drivers.
#ifndef LEOPOD_ORBIT_DYNAMICS_H
#define LEOPOD_ORBIT_DYNAMICS_H

#include "eph_planet.h"
#include "gtime.h"
#include "leopod_api.h"

LEOPOD_BEGIN_DECLS

/// Force models; also the row index of ORBIT_DYN_CONFIG.force_model_parameters.
typedef enum ForceModel LEOPOD_ENUM_BASE {
    FM_UKN = 0,
    FM_EarthGravity = 1,
    FM_ThirdBody = 2,
    FM_Relativity = 3,
    FM_Antenna_Thrust = 4,
    FM_Body_Fix_Force = 5,
    FM_SRP = 6,
    FM_ERP = 7,
    FM_Drag = 8,
    FM_ECOM = 9,
    FM_EMP = 10,
    FM_TOTAL = 11
} ForceModel;

enum {
    MAXNUM_FM_PARAM_TOTAL = 900,  ///< names of the registry, columns of the sensitivity matrix
    MAXNUM_FM_PARM = 50,          ///< parameters of a force
    MAXNUM_FM_PARM_EMP = 800,     ///< parameters of the empirical force
    NSTATE_MAX = 5442             ///< 6 + 36 + 6 * 900: longest flat state
};

/// One parameter kind asked for by the configuration file.
typedef struct EMP_PARAM_BASE {
    ForceModel fm;        ///< force it belongs to
    char name_param[20];  ///< base name, such as "A0"
    double interval;      ///< length of a piece [s]
} EMP_PARAM_BASE;

/// Parameters of one force.
typedef struct PARAM_FM {
    ForceModel fm;
    int mode;                  ///< variant of the force
    int num;                   ///< parameters in use
    double param[50];          ///< values
    double param_life[50][2];  ///< validity: start and end MJD UTC
    int idx_global[50];        ///< index in the registry
    char param_name[50][20];   ///< names
} PARAM_FM;

/// Parameters of the empirical force.
typedef struct PARAM_FM_EMP {
    ForceModel fm;
    int mode;
    int num;
    double param[800];
    double param_life[800][2];
    int idx_global[800];
    char param_name[800][20];
} PARAM_FM_EMP;

/// Which forces act, how the motion is integrated, which parameters exist. Zeroed by the caller before use.
typedef struct ORBIT_DYN_CONFIG {
    int satindex;                             ///< dense satellite index, key of the attitude look-up
    int norder_gravity;                       ///< degree and order of the Earth's field
    bool time_vary_gravity;                   ///< set by the configuration file, consulted by nothing else
    bool solid_earth_tide;                    ///< likewise
    bool ocean_tide;                          ///< likewise
    bool pole_tide;                           ///< likewise
    int opt_srp, opt_erp, opt_drag, opt_emp;  ///< model variants
    EMP_PARAM_BASE emp_params_base[20];       ///< parameter kinds asked for
    int emp_param_num_base;                   ///< their number
    int num_planets;                          ///< third bodies
    PLANET_JPL planets[17];                   ///< in the order of summation
    int num_force_models;                     ///< active forces
    ForceModel force_model_used[11];          ///< in the order of evaluation
    double step_size;                         ///< integration step [s]
    double output_interval;                   ///< spacing of output epochs [s]
    int status_derivative;                    ///< 0 state only, 1 with transition matrix, 2 with sensitivity matrix too
    char param_names_force_models[900][20];   ///< registry of names; 0 to 5 are PX, PY, PZ, VX, VY, VZ
    int num_param_total;                      ///< entries of the registry
    int num_param_forcemodel;                 ///< force parameters
    PARAM_FM force_model_parameters[11];      ///< by ForceModel
    PARAM_FM_EMP force_model_emp_parameters;  ///< those of FM_EMP
    int nstate;                               ///< length of the flat state vector
} ORBIT_DYN_CONFIG;

/// State of the spacecraft with accelerations and the matrices of the variational equations; inertial frame.
typedef struct STATE_SPACECRAFT {
    int satindex;
    GTime utc_start;                                    ///< reference epoch of the arc, UTC
    double sec_since_start;                             ///< [s]
    double mass;                                        ///< [kg]; no force model reads it
    double pos_eci[3];                                  ///< [m]
    double vel_eci[3];                                  ///< [m/s]
    double acc_eci[3];                                  ///< [m/s^2]
    double orbit_raidal[3];                             ///< unit vector, radial
    double orbit_along[3];                              ///< unit vector, along-track
    double orbit_cross[3];                              ///< unit vector, cross-track
    double dadr[9];                                     ///< acceleration by position, row-major [1/s^2]
    double dadv[9];                                     ///< acceleration by velocity, row-major [1/s]
    double dadp[2700];                                  ///< acceleration by parameters, 3 rows of stride 900
    double PHI[36];                                     ///< state transition matrix, row-major 6x6
    double S[5400];                                     ///< sensitivity matrix, 6 rows of stride 900
    double dPHI[36];                                    ///< time derivative of PHI
    double dS[5400];                                    ///< time derivative of S
    double shadow_factor;                               ///< 1 full sun, 0 umbra
    double beta;                                        ///< Sun above the orbital plane [rad]
    double eps;                                         ///< radial direction to Sun [rad]
    double att_ex[3], att_ey[3], att_ez[3], att_ep[3];  ///< reserved
} STATE_SPACECRAFT;

/// Result of the orbit fit. The caller provides the arrays.
typedef struct SOLUTION_ORBITFIT {
    double rms_acr[3];            ///< rms of the residuals: along, radial, cross [m]
    double* omc_eci;              ///< residuals in ECI, 3 per epoch [m]; may be null
    double* omc_ARC;              ///< residuals along, radial, cross, 3 per epoch [m]; may be null
    int nepochs;                  ///< filled by the caller, not read
    STATE_SPACECRAFT* state_all;  ///< records of the output epochs of the last iteration
    int num_output;               ///< filled by the caller, not read
} SOLUTION_ORBITFIT;

/// Right-hand side of the integrators.
typedef void (*Derivative)(int nstate, double x, double* y, double* dydx);

extern ORBIT_DYN_CONFIG* g_orbitdyn_config;  ///< configuration seen by orbit_derivative
extern STATE_SPACECRAFT* g_satellite_state;  ///< state seen by orbit_derivative
extern char name_emp_param_all[24][20];      ///< base names of the empirical parameters

// --- configuration and parameter registry ----------------------------------------------------------------------------

/// Defaults of the on-board path: degree 30; Sun, Moon, Jupiter; gravity, third bodies, relativity, empirical accelerations; step
/// 30 s, output every 60 s, state transition and sensitivity matrices. Mode 4 lands in the fourth row of the force parameters.
/// \param ptr_orb_config  [in,out] zeroed by the caller; fields not named above stay as they are
void initialize_orbit_conifig_embed(ORBIT_DYN_CONFIG* ptr_orb_config);

/// Defaults of the ground drivers: degree 100; Sun, Moon and the eight other bodies; the same forces; step 20 s, output every 60 s,
/// state transition and sensitivity matrices.
/// \param ptr_orb_config  [in,out] zeroed by the caller; fields not named above stay as they are
void initialize_orbit_config(ORBIT_DYN_CONFIG* ptr_orb_config);

/// Index of a name in the registry, which is searched in order; a new name is appended.
/// \param num_current               [in,out] entries of the registry; grows by one with a new name
/// \param param_names_force_models  [in,out] 900 names of at most 19 characters
/// \param param_name                name, compared exactly
/// \return the index; -1 with 906 entries or more. Names behind the 900th are counted but not stored.
/// Logs at critical level: a registry of 906 entries, with the source locator; the first name that is not stored.
int get_parameter_index_global(int* num_current, char (*param_names_force_models)[20], char* param_name);

/// Builds the parameters of a span from the kinds that the configuration asks for: state reset and the six names of the state
/// registered, then for each kind pieces of its interval, one more than the whole intervals in the span and the last one cut at
/// the end. Sets num_param_forcemodel and nstate. Parameters are appended: the records are to be empty.
/// \param mjd_utc_s,mjd_utc_e     span, UTC [MJD]
/// \param ptr_orbit_dyn_config    [in,out] configuration
/// \param state_spacecraft        [out] state
/// Logs at error level: a kind without a force, with a non-positive interval or a negative span (skipped).
/// Ends the process, logged at error level: 50 parameters of a force, 800 empirical ones, more than 1000 pieces of a kind.
void produce_force_model_params(double mjd_utc_s, double mjd_utc_e, ORBIT_DYN_CONFIG* ptr_orbit_dyn_config,
                                STATE_SPACECRAFT* state_spacecraft);

/// Builds empirical parameters of a span: pieces of one length for A0, C0, R0, AC, AS, CC, CS, kind by kind. A remainder above half
/// an interval gets a piece of its own, a shorter one stays outside.
/// \param mjd_utc_s,mjd_utc_e     span, UTC [MJD]
/// \param interval_sec            length of a piece [s]
/// \param params                  [out] the parameters, all 0
/// \param ptr_orbit_dyn_config    [in,out] its registry gets the names; its opt_emp becomes the mode
/// \param state_spacecraft        not read
/// Logs at error level: a non-positive span or interval (no parameters).
/// Ends the process, logged at error level: 800 parameters or more.
void generate_param_empirical(double mjd_utc_s, double mjd_utc_e, double interval_sec, PARAM_FM_EMP* params,
                              ORBIT_DYN_CONFIG* ptr_orbit_dyn_config, STATE_SPACECRAFT* state_spacecraft);

/// Position of the first base name that contains a text.
/// \param emp_param_name  text, such as "A0"
/// \return index in name_emp_param_all, or -1
int emp_param_name_check(char* emp_param_name);

// --- spacecraft state and variational equations ----------------------------------------------------------------------

/// Set-up of the on-board path: state reset, names of the state registered, three empirical accelerations (along, cross, radial)
/// for all time if FM_EMP is active, then num_param_forcemodel and nstate. Mode 2 without parameters becomes mode 1.
/// \param ptr_orb_config    [in,out] configuration with its list of forces
/// \param state_spacecraft  [out] position, velocity, acceleration and S zero, PHI identity, full sun
void initialize_state_spacecraft_embed(ORBIT_DYN_CONFIG* ptr_orb_config, STATE_SPACECRAFT* state_spacecraft);

/// Set-up of the ground drivers: as above, but the empirical accelerations are pieces of 1200 s from 2019-01-15 23:59:42 to
/// 2019-01-16 23:58:42 UTC, seven kinds, 504 parameters; num_param_forcemodel is the registry's size less 6.
/// \param ptr_orb_config    [in,out] configuration with its list of forces
/// \param state_spacecraft  [out] as above
void initialize_state_spacecraft(ORBIT_DYN_CONFIG* ptr_orb_config, STATE_SPACECRAFT* state_spacecraft);

/// Gathers what a fit estimates: position [m], velocity [m/s], then the parameters of the active forces in their order.
/// \param config         configuration
/// \param state          state
/// \param y_param_force  [out] 6 values and those of the parameters
void extract_state_force_param(ORBIT_DYN_CONFIG* config, STATE_SPACECRAFT* state, double* y_param_force);

/// Inverse of extract_state_force_param.
/// \param config         [out] values of the parameters
/// \param state          [out] position and velocity
/// \param y_param_force  6 values and those of the parameters
void set_state_force_param(ORBIT_DYN_CONFIG* config, STATE_SPACECRAFT* state, double* y_param_force);

/// Flat state from the record: position, velocity; PHI from mode 1 and length 42 on; the first columns of S in mode 2 where the
/// length holds them.
/// \param nstate  length of y
/// \param config  mode and number of parameters
/// \param state   record
/// \param y       [out] flat state; elements without a source stay as they are
void convert_struct2ystate(int nstate, ORBIT_DYN_CONFIG* config, STATE_SPACECRAFT* state, double* y);

/// Record from the flat state, the inverse of convert_struct2ystate. Columns of S beyond the parameters stay as they are.
/// \param nstate  length of y
/// \param y       flat state
/// \param config  mode and number of parameters
/// \param state   [out] record
void convert_ystate2struct(int nstate, double* y, ORBIT_DYN_CONFIG* config, STATE_SPACECRAFT* state);

/// Flat derivative from the record: vel_eci, acc_eci, dPHI, dS, under the conditions of convert_struct2ystate.
/// \param nstate  length of dydx
/// \param config  mode and number of parameters
/// \param state   record
/// \param dydx    [out] flat derivative
void convert_struct2dydx(int nstate, ORBIT_DYN_CONFIG* config, STATE_SPACECRAFT* state, double* dydx);

/// Record from the flat derivative, the inverse of convert_struct2dydx.
/// \param nstate  length of dydx
/// \param dydx    flat derivative
/// \param config  mode and number of parameters
/// \param state   [out] record
void convert_dydx2struct(int nstate, double* dydx, ORBIT_DYN_CONFIG* config, STATE_SPACECRAFT* state);

/// Equations of motion and variational equations, dPHI = A PHI, dS = A S + (0; dadp) on all 900 columns, A = (0, I; dadr, 0), for
/// the integrators.
/// Works on g_orbitdyn_config and g_satellite_state, which must be set; the state keeps the values of the last call.
/// \param nstate           length of y and dydx
/// \param sec_since_start  time since utc_start [s]
/// \param y                flat state
/// \param dydx             [out] its derivative
/// Source: O. Montenbruck, E. Gill, Satellite Orbits, 2000, section 7.2.
void orbit_derivative(int nstate, double sec_since_start, double* y, double* dydx);

// --- force models ----------------------------------------------------------------------------------------------------

/// Acceleration of the active forces and its partials, inertial. FM_EarthGravity, FM_ThirdBody, FM_Relativity, FM_ECOM and FM_EMP
/// act; the others in the list have no effect. The gradient is computed in every mode but 0. Columns of dadp of parameters
/// outside their span, or outside the registry's 900, are zero or left out.
/// \param ptr_orb_config    configuration; ephemeris, orientation and gravity stores must be loaded
/// \param state_spacecraft  [in,out] in: utc_start, sec_since_start, pos_eci, vel_eci; out: orbit_raidal (to the Earth's centre),
///                          orbit_along (against the flight), orbit_cross, shadow_factor, beta, eps, acc_eci [m/s^2], dadr [1/s^2],
///                          dadv (zero), dadp [m/s^2 by unit of the parameter]
/// Logs and ends the process as getLeapSecond, compute_planet_pos_vel (for Sun, Moon and each body of the list), eci2ecf (four times),
/// get_att_quaternion (for satindex) and compute_acc_Empirical do.
void compute_acc_all(ORBIT_DYN_CONFIG* ptr_orb_config, STATE_SPACECRAFT* state_spacecraft);

/// Point-mass attraction of bodies on an Earth satellite, with the indirect term. A body without an ephemeris is left out.
/// \param mjd_utc     UTC [MJD]
/// \param nbody       bodies in the list
/// \param bodies      the bodies, in the order of summation
/// \param satpos_eci  position, inertial, 3 values [m]
/// \param acc         [out] acceleration, inertial, 3 values [m/s^2]; may be null
/// \param dadr        [out] gradient, 3x3, row-major [1/s^2]; may be null
/// \return false when both outputs are null, else true
/// Source: O. Montenbruck, E. Gill, Satellite Orbits, 2000, equations 3.37 and 7.75.
bool compute_acc_thirdbody(double mjd_utc, int nbody, PLANET_JPL* bodies, double* satpos_eci, double* acc,
                           double* dadr);

/// Post-Newtonian acceleration: Schwarzschild, Lense-Thirring and de Sitter terms with beta = gamma = 1.
/// \param satpos,satvel  satellite, inertial, 3 values each [m, m/s]
/// \param sunpos,sunvel  Sun, geocentric inertial, 3 values each [m, m/s]
/// \param acc            [out] acceleration, 3 values [m/s^2]
/// \return false, with a zero acceleration and a warning, for a Sun at the origin
/// Source: IERS Conventions (2010), equation 10.12.
bool compute_acc_relativity(double* satpos, double* satvel, double* sunpos, double* sunvel, double* acc);

/// Piecewise constant and once-per-revolution accelerations along track ("A", against the flight), cross track ("C") and radial
/// ("R", to the Earth's centre). The phase runs from the start of the first parameter with the present mean motion. At a common
/// boundary both neighbours are active.
/// \param mjd_utc            UTC [MJD]
/// \param idx_param_current  [out] indices of the n active parameters, room for 800
/// \param fm_param           parameters [1e-9 m/s^2]; the third token of a name gives its kind
/// \param satpos,satvel      satellite, inertial, 3 values each [m, m/s]
/// \param acc                [out] acceleration, 3 values [m/s^2]; may be null
/// \param dadp_eci           [out] 3 x n, row-major [1e-9 m/s^2 units]; may be null; untouched for n = 0
/// \return n
/// Ends the process, logged at error level: a name of no known kind.
int compute_acc_Empirical(double mjd_utc, int* idx_param_current, PARAM_FM_EMP* fm_param, double* satpos,
                          double* satvel, double* acc, double* dadp_eci);

/// Solar-radiation acceleration along D (to the Sun), Y and B with terms in the angle from the Sun along the orbit, which folds to
/// plus or minus 90 degrees. Mode 0: D, Y, B and B's cosine and sine; mode 1: D with cosine and sine of twice the angle, Y, B
/// with cosine and sine. Other modes write nothing.
/// \param mjd_utc     not read
/// \param fm_param    mode and positional parameters [1e-9 m/s^2]
/// \param sunpos      Sun, inertial, 3 values [m]
/// \param satpos_eci,satvel_eci  satellite, inertial, 3 values each [m, m/s]
/// \param beta        Sun above the orbital plane [rad]
/// \param acc         [out] acceleration, 3 values [m/s^2]
/// \param dadp        [out] 3 x num, row-major; columns without a term are zero
/// \return true when written
/// Source: G. Beutler et al., Extended orbit modeling techniques at the CODE processing center, Manuscr. Geod. 19, 1994.
bool compute_acc_ECOM(double mjd_utc, PARAM_FM* fm_param, double* sunpos, double* satpos_eci, double* satvel_eci,
                      double beta, double* acc, double* dadp);

/// Visible part of the Sun's disc, a spherical Earth against a flat sky.
/// \param pos_sun,pos_sat  inertial, 3 values each [m]
/// \param modified         true: another radius of the Earth, which in effect counts half of the sky as the Earth
/// \return 0 (umbra) to 1 (full sun)
/// Source: O. Montenbruck, E. Gill, Satellite Orbits, 2000, section 3.4.2.
double shadow_factor_SECM(double* pos_sun, double* pos_sat, bool modified);

/// Reserved for a model of solar-radiation pressure; forms the flux at the satellite and writes nothing.
/// \param mjd_utc,param_fm,satvel,acc  not used
/// \param satpos,sunpos                inertial, 3 values each [m]
/// \param shadowfactor                 visible part of the Sun
/// \return false
bool compute_acc_srp(double mjd_utc, PARAM_FM* param_fm, double* satpos, double* satvel, double shadowfactor,
                     double* sunpos, double* acc);

/// Reserved for a model of the Earth's radiation pressure.
/// \param np,param,mode,mjd_utc,satpos,satvel,acc  not used
/// \return false
bool compute_acc_erp(int np, double* param, int mode, double mjd_utc, double* satpos, double* satvel, double* acc);

/// Reserved for a model of drag: a fixed acceleration from fixed numbers.
/// \param np,param,mode,mjd_utc,satpos,satvel  not used
/// \param acc                                  [out] 3 values [m/s^2]
/// \return false
bool compute_acc_drag(int np, double* param, int mode, double mjd_utc, double* satpos, double* satvel, double* acc);

/// Density of the atmosphere for mean solar activity, exponent 6, bulge 30 degrees behind the Sun.
/// \param mjd_tt  TT [MJD]
/// \param Pos     position, Earth-fixed, 3 values [m]; compared with the inertial bulge as it is
/// \return density [kg/m^3]; 0 at or beyond 100 and 1000 km of height
/// Source: O. Montenbruck, E. Gill, Satellite Orbits, 2000, section 3.5.2.
double atm_density_Harris_Priester(double mjd_tt, double* Pos);

// --- numerical integration -------------------------------------------------------------------------------------------

/// One classical Runge-Kutta step of order 4.
/// \param dydxFun  derivative
/// \param nstate   length of y0, at most 5441
/// \param x0       abscissa
/// \param y0       [in,out] state
/// \param h        step
/// \param yerr     not used
/// Logs at error level, and leaves y0 as it is: 5442 elements or more.
void single_step_RungeKutta4(Derivative dydxFun, int nstate, double x0, double* y0, double h, double* yerr);

/// One Runge-Kutta-Fehlberg step, solution of order 8.
/// \param dydxFun,nstate,x0,y0,h  as above
/// \param yerr  [out] difference to the solution of order 7 per element, absolute; may be null
/// Logs at error level, and leaves y0 as it is: 5442 elements or more.
/// Source: E. Fehlberg, NASA TR R-287, 1968.
void single_step_RungeKuttaFehlberg78(Derivative dydxFun, int nstate, double x0, double* y0, double h, double* yerr);

/// Integrates to an abscissa by Fehlberg steps, the last one cut to land on it; either direction. With an error vector, a step whose
/// mean error exceeds 1e-12 is repeated with a smaller one, which then stays; steps never grow.
/// \param dydxFun   derivative
/// \param n         length of y0, at most 5441
/// \param x0,xt     first and last abscissa
/// \param y0        [in,out] state
/// \param step_sec  [in,out] step, reduced by rejections; carries the sign of the run after one
/// \param yerr      [out] errors of the last step, n values; null: fixed steps
/// Logs at error level: 5442 elements or more (nothing is done), a span that is not finite, a step below 1e-9 (the state stays where
/// it got to).
void IntegrateTo(Derivative dydxFun, int n, double x0, double* y0, double* step_sec, double xt, double* yerr);

/// Integrates a state from sec_since_start to duration_sec with fixed steps. Points g_orbitdyn_config and g_satellite_state at the
/// arguments. Afterwards sec_since_start is duration_sec larger than the end, and forces are those of the last derivative.
/// \param ptr_orb_config    configuration
/// \param state_spacecraft  [in,out] state
/// \param duration_sec      target, seconds since utc_start
/// \param step_size         step [s]
/// \return true
/// Logs at debug level the dimensions.
bool orbit_integrate(ORBIT_DYN_CONFIG* ptr_orb_config, STATE_SPACECRAFT* state_spacecraft, double duration_sec,
                     double step_size);

/// Position, velocity and acceleration between records, by the polynomial through 17 of them. Outside the records, and with fewer
/// than 17, the results are zero.
/// \param myconfig           not read
/// \param mystate            records
/// \param xx_all             their abscissae, ascending [s]
/// \param num_total          number of records
/// \param xt                 abscissa [s]
/// \param yt_pos_vel_acc     [out] 9 values, inertial [m, m/s, m/s^2]
/// \param yt_acc_derivative  [out] 9 derivatives per unit of the abscissa divided by the last one of the window; may be null
/// Logs at error level: derivatives asked for without values, fewer than 17 records.
void interpolate_pos_vel_acc(ORBIT_DYN_CONFIG* myconfig, STATE_SPACECRAFT* mystate, double* xx_all, int num_total,
                             double xt, double* yt_pos_vel_acc, double* yt_acc_derivative);

/// Flat state between the rows of a trajectory, by the polynomial through 17 of them. Columns of S of parameters whose span has not
/// begun are zero. Outside the rows, and with fewer than 17, the result is zero.
/// \param myconfig          configuration
/// \param mystate           its utc_start is the time of abscissa 0
/// \param nstate            length of a row, at least 42
/// \param num_output        rows
/// \param xx_all            their abscissae, ascending [s]
/// \param ystate_integrate  the rows
/// \param xt                abscissa [s]
/// \param yt_computed       [out] nstate values
/// Logs at error level: fewer than 42 values (nothing is written), fewer than 17 rows.
void get_state_interpolated(ORBIT_DYN_CONFIG* myconfig, STATE_SPACECRAFT* mystate, int nstate, int num_output,
                            double* xx_all, double* ystate_integrate, double xt, double* yt_computed);

// --- orbit fit -------------------------------------------------------------------------------------------------------

/// Least-squares fit of initial state and force parameters to positions of equal weight, at most eight iterations; ends when the
/// root mean square of the corrections is below 0.001, and does not apply those. Integrates with step control.
/// \param ptr_orb_config    [in,out] configuration in mode 2 (1 without parameters); a-priori parameters, then those of the last
///                          integration
/// \param state_spacecraft  [in,out] a-priori state at utc_start plus sec_since_start; then the end of the arc, utc_start being its start
/// \param epoch_end         end of the arc, UTC
/// \param nepochs           number of positions
/// \param epoch_utc         their epochs, UTC
/// \param orb_posvel_eci    the positions, inertial, 3 values each [m]
/// \param sln_fit           [out] may be null; rms of the residuals along, radial, cross [m]; records of the output epochs; residuals
///                          if both arrays are given
/// \return false without positions, for fewer than 17 output epochs, for dimensions that do not fit or without memory (the last three
///         logged at error level), else true
/// Logs at info level: iteration, stages, statistics, convergence.
/// Ends the process, logged at error level: singular normal equations.
bool orbit_fit(ORBIT_DYN_CONFIG* ptr_orb_config, STATE_SPACECRAFT* state_spacecraft, GTime epoch_end, int nepochs,
               GTime* epoch_utc, double (*orb_posvel_eci)[3], SOLUTION_ORBITFIT* sln_fit);

// --- configuration file and drivers ----------------------------------------------------------------------------------

/// Reads force models and integration settings from a text file with the sections +Force_Models and +GENERAL_CONFIG, lines
/// "keyword = value arguments", comments behind "//" or in lines that begin with "*". Sets only what the file names, besides
/// emp_param_num_base and num_force_models.
/// \param orbitdynamic_config_filename  path
/// \param ptr_orb_config                [in,out] zeroed or initialised by the caller
/// Logs at info level: the forces. Logs one warning a table that the file overfills; the excess is dropped.
/// Ends the process, logged at error level with the source locator: a file that cannot be opened.
void readfile_orbitdynamics_config(char* orbitdynamic_config_filename, ORBIT_DYN_CONFIG* ptr_orb_config);

/// Integrates 90000 s from a built-in start with the configuration's forces and writes 50 Earth-fixed rows a second of
/// orbit: time, position, velocity, acceleration, its derivative by the normalised abscissa. Reads testdata/EGM2008.txt and
/// testdata/ascp1950_438.data; the Earth's orientation is zero. Prints the counts.
/// \param orbit_dynamics_config_filename  configuration file
/// \param output_orb_filename             file to write
/// Logs at error level: an output file that cannot be opened, missing memory for the stores (nothing is done either way), fewer than
/// 17 records (no rows).
/// Ends the process, logged at error level: no memory for the records; a configuration file that cannot be opened.
void test_orbit_simulation(char* orbit_dynamics_config_filename, char* output_orb_filename);

/// The built-in positions, one day at 60 s, turned to inertial with the loaded orientation.
/// \param epochs_utc  [out] 1440 epochs, UTC
/// \param pos_eci     [out] 1440 positions, 3 values each [m]
/// \return 1440
int test_orbit_fit_data(GTime* epochs_utc, double (*pos_eci)[3]);

/// Fits the built-in positions with the ground defaults. Reads example/eopc04_IAU2000.1962-now, example/EGM2008.txt and
/// example/ascp1950_438.data. Prints the start; the outcome is logged as by orbit_fit.
/// Logs at info level which files were read; at error level missing memory, when nothing is done.
void test_orbit_fit(void);

/// Integrates a built-in state over 300 s with the field as it stands. Reads testdata/finals.data.iau2000.txt and
/// testdata/ascp1950_438.data. Logs at error level missing memory, when nothing is done.
void test_orbit_integrate(void);

/// Set-up of the on-board path from the built-in tables; stops before integrating. The globals stay valid.
void test_orbit_integrate_embed(void);

/// A stub that does nothing, kept in the interface.
/// \param ts_utc,satpos,satvel,duration,ptr_orbit_config  not used
void orbit_prediction_pos_vel(GTime ts_utc, double* satpos, double* satvel, double duration,
                              ORBIT_DYN_CONFIG* ptr_orbit_config);

LEOPOD_END_DECLS
#endif
