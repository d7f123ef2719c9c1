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
    MAXNUM_FM_PARAM_TOTAL = 900, ///< names of the registry, columns of the sensitivity matrix
    MAXNUM_FM_PARM = 50,         ///< parameters of a force
    MAXNUM_FM_PARM_EMP = 800,    ///< parameters of the empirical force
    NSTATE_MAX = 5442            ///< 6 + 36 + 6 * 900: longest flat state
};

/// One parameter kind asked for by the configuration file.
typedef struct EMP_PARAM_BASE {
    ForceModel fm;       ///< force it belongs to
    char name_param[20]; ///< base name, such as "A0"
    double interval;     ///< length of a piece [s]
} EMP_PARAM_BASE;

/// Parameters of one force.
typedef struct PARAM_FM {
    ForceModel fm;
    int mode;                 ///< variant of the force
    int num;                  ///< parameters in use
    double param[50];         ///< values
    double param_life[50][2]; ///< validity: start and end MJD UTC
    int idx_global[50];       ///< index in the registry
    char param_name[50][20];  ///< names
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
    GTime utc_start;         ///< reference epoch of the arc, UTC
    double sec_since_start;  ///< [s]
    double mass;             ///< [kg]; no force model reads it
    double pos_eci[3];       ///< [m]
    double vel_eci[3];       ///< [m/s]
    double acc_eci[3];       ///< [m/s^2]
    double orbit_raidal[3];  ///< unit vector, radial
    double orbit_along[3];   ///< unit vector, along-track
    double orbit_cross[3];   ///< unit vector, cross-track
    double dadr[9];          ///< acceleration by position, row-major [1/s^2]
    double dadv[9];          ///< acceleration by velocity, row-major [1/s]
    double dadp[2700];       ///< acceleration by parameters, 3 rows of stride 900
    double PHI[36];          ///< state transition matrix, row-major 6x6
    double S[5400];          ///< sensitivity matrix, 6 rows of stride 900
    double dPHI[36];         ///< time derivative of PHI
    double dS[5400];         ///< time derivative of S
    double shadow_factor;    ///< 1 full sun, 0 umbra
    double beta;             ///< Sun above the orbital plane [rad]
    double eps;              ///< radial direction to Sun [rad]
    double att_ex[3], att_ey[3], att_ez[3], att_ep[3]; ///< reserved
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

void initialize_orbit_conifig_embed(ORBIT_DYN_CONFIG* ptr_orb_config);
void initialize_orbit_config(ORBIT_DYN_CONFIG* ptr_orb_config);
int get_parameter_index_global(int* num_current, char (*param_names_force_models)[20], char* param_name);
void produce_force_model_params(double mjd_utc_s, double mjd_utc_e, ORBIT_DYN_CONFIG* ptr_orbit_dyn_config,
                                STATE_SPACECRAFT* state_spacecraft);
void generate_param_empirical(double mjd_utc_s, double mjd_utc_e, double interval_sec, PARAM_FM_EMP* params,
                              ORBIT_DYN_CONFIG* ptr_orbit_dyn_config, STATE_SPACECRAFT* state_spacecraft);
int emp_param_name_check(char* emp_param_name);

void initialize_state_spacecraft_embed(ORBIT_DYN_CONFIG* ptr_orb_config, STATE_SPACECRAFT* state_spacecraft);
void initialize_state_spacecraft(ORBIT_DYN_CONFIG* ptr_orb_config, STATE_SPACECRAFT* state_spacecraft);
void extract_state_force_param(ORBIT_DYN_CONFIG* config, STATE_SPACECRAFT* state, double* y_param_force);
void set_state_force_param(ORBIT_DYN_CONFIG* config, STATE_SPACECRAFT* state, double* y_param_force);
void convert_struct2ystate(int nstate, ORBIT_DYN_CONFIG* config, STATE_SPACECRAFT* state, double* y);
void convert_ystate2struct(int nstate, double* y, ORBIT_DYN_CONFIG* config, STATE_SPACECRAFT* state);
void convert_struct2dydx(int nstate, ORBIT_DYN_CONFIG* config, STATE_SPACECRAFT* state, double* dydx);
void convert_dydx2struct(int nstate, double* dydx, ORBIT_DYN_CONFIG* config, STATE_SPACECRAFT* state);
void orbit_derivative(int nstate, double sec_since_start, double* y, double* dydx);

void compute_acc_all(ORBIT_DYN_CONFIG* ptr_orb_config, STATE_SPACECRAFT* state_spacecraft);
bool compute_acc_thirdbody(double mjd_utc, int nbody, PLANET_JPL* bodies, double* satpos_eci, double* acc, double* dadr);
bool compute_acc_relativity(double* satpos, double* satvel, double* sunpos, double* sunvel, double* acc);
int compute_acc_Empirical(double mjd_utc, int* idx_param_current, PARAM_FM_EMP* fm_param, double* satpos, double* satvel,
                          double* acc, double* dadp_eci);
bool compute_acc_ECOM(double mjd_utc, PARAM_FM* fm_param, double* sunpos, double* satpos_eci, double* satvel_eci, double beta,
                      double* acc, double* dadp);
double shadow_factor_SECM(double* pos_sun, double* pos_sat, bool modified);
bool compute_acc_srp(double mjd_utc, PARAM_FM* param_fm, double* satpos, double* satvel, double shadowfactor, double* sunpos,
                     double* acc);
bool compute_acc_erp(int np, double* param, int mode, double mjd_utc, double* satpos, double* satvel, double* acc);
bool compute_acc_drag(int np, double* param, int mode, double mjd_utc, double* satpos, double* satvel, double* acc);
double atm_density_Harris_Priester(double mjd_tt, double* Pos);

void single_step_RungeKutta4(Derivative dydxFun, int nstate, double x0, double* y0, double h, double* yerr);
void single_step_RungeKuttaFehlberg78(Derivative dydxFun, int nstate, double x0, double* y0, double h, double* yerr);
void IntegrateTo(Derivative dydxFun, int n, double x0, double* y0, double* step_sec, double xt, double* yerr);
bool orbit_integrate(ORBIT_DYN_CONFIG* ptr_orb_config, STATE_SPACECRAFT* state_spacecraft, double duration_sec,
                     double step_size);
void interpolate_pos_vel_acc(ORBIT_DYN_CONFIG* myconfig, STATE_SPACECRAFT* mystate, double* xx_all, int num_total, double xt,
                             double* yt_pos_vel_acc, double* yt_acc_derivative);
void get_state_interpolated(ORBIT_DYN_CONFIG* myconfig, STATE_SPACECRAFT* mystate, int nstate, int num_output, double* xx_all,
                            double* ystate_integrate, double xt, double* yt_computed);
bool orbit_fit(ORBIT_DYN_CONFIG* ptr_orb_config, STATE_SPACECRAFT* state_spacecraft, GTime epoch_end, int nepochs,
               GTime* epoch_utc, double (*orb_posvel_eci)[3], SOLUTION_ORBITFIT* sln_fit);

void readfile_orbitdynamics_config(char* orbitdynamic_config_filename, ORBIT_DYN_CONFIG* ptr_orb_config);
void test_orbit_simulation(char* orbit_dynamics_config_filename, char* output_orb_filename);
void test_orbit_fit(void);
int test_orbit_fit_data(GTime* epochs_utc, double (*pos_eci)[3]);
void test_orbit_integrate(void);
void test_orbit_integrate_embed(void);
void orbit_prediction_pos_vel(GTime ts_utc, double* satpos, double* satvel, double duration,
                              ORBIT_DYN_CONFIG* ptr_orbit_config);

LEOPOD_END_DECLS
#endif
