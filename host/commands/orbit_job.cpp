#include "commands/orbit_job.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "inputs/config_check.h"
#include "shared/console.h"
#include "shared/earth.h"
#include "shared/error.h"
#include "stores/coverage.h"
#include "stores/planets.h"
#include "stores/satellite_antenna.h"

namespace host {

namespace {

constexpr int kGoodDegree = 60;  ///< a field of this degree leaves little at 500 km

/// "A0:360:10:1800" to a term: kind, length of a piece, a-priori sigma, correlation time.
EmpiricalTerm parse_term(const std::string& text) {
    static const char* const kinds[] = {"R0", "A0", "C0", "RC", "RS", "AC", "AS", "CC", "CS"};
    std::vector<std::string> parts;
    std::size_t from = 0;
    for (std::size_t at; (at = text.find(':', from)) != std::string::npos; from = at + 1)
        parts.push_back(text.substr(from, at - from));
    parts.push_back(text.substr(from));
    EmpiricalTerm term;
    term.kind = parts[0];
    double* const values[] = {&term.interval, &term.sigma, &term.correlation};
    bool good = std::find(std::begin(kinds), std::end(kinds), term.kind) != std::end(kinds) && parts.size() <= 4;
    for (std::size_t i = 1; good && i < parts.size(); ++i)
        good = parse_number(parts[i], *values[i - 1]) && *values[i - 1] >= 0.0;
    if (!good || (term.interval > 0.0 && term.interval < 30.0)) {
        throw InputError(
            "--empirical " + text +
            ": expected is KIND:PIECE:SIGMA:CORRELATION, a kind out of R0 A0 C0 RC RS AC AS CC CS, pieces of "
            "30 s and more");
    }
    return term;
}

void prepare_forces(const OrbitOptions& o, double mjd_first, double mjd_last, Dynamics& dynamics,
                    Environment& environment) {
    ORBIT_DYN_CONFIG& config = *dynamics.config;
    load_gravity_field(o.dynamics.gravity, dynamics);
    tabulate_analytic_planets(mjd_first, mjd_last, environment);
    dynamics.environment.eop_source = environment.eop_source;
    dynamics.environment.planet_source = environment.planet_source;
    if (o.dynamics.dynamics.empty()) {
        initialize_orbit_config(&config);
        config.norder_gravity = static_cast<int>(std::min(100L, dynamics.gravity_degree));
        config.step_size = 30.0;
    } else {
        read_force_models(o.dynamics, dynamics);
    }
    config.output_interval = o.output_interval;
    hold_tables(mjd_first, mjd_last, true, !o.inputs.jpl.empty(), dynamics);
}

/// Takes the epochs outside the span from the store.
void cut_observations(const OrbitOptions& o) {
    const ArcSpan span(o.span, g_obs_storage[0].epoch_time, tsGPST);
    const auto outside = [&](const OBSDATA_EPOCH& e) { return !span.within(e.epoch_time); };
    OBSDATA_EPOCH* end = std::remove_if(g_obs_storage, g_obs_storage + g_num_obs_storage, outside);
    g_num_obs_storage = static_cast<int>(end - g_obs_storage);
    if (g_num_obs_storage < 20) throw InputError(o.inputs.obs.front() + ": fewer than 20 epochs in the span");
}

void set_estimation(const OrbitOptions& o, const ObservedArc& arc, int degree, EstimationOptions& e) {
    e.signal.antenna = AntennaOffset(o.antenna);
    e.signal.wind_up = o.wind_up;
    e.adapt = o.adapt;
    // A given offset holds unless its error is given too. Only a good motion over an hour or more tells it from the orbit's height.
    const bool tells = degree >= kGoodDegree && arc.epochs.back().time > 3500.0;
    e.antenna_sigma = o.antenna.sigma >= 0.0 ? o.antenna.sigma : o.antenna.offset.empty() && tells ? 0.5 : 0.0;
    e.noise.code = o.sigma_code;
    e.noise.phase = o.sigma_phase;
    e.noise.elevation_mask = o.elevation_mask / kRadToDeg;
    e.noise.by_elevation = o.weights == "elevation";
    const double spacing = clock_interval();
    if (spacing > 0.0) {
        // A satellite clock wanders like a random walk: by 4 cm in the middle of a quarter of an hour.
        e.noise.clock = o.sigma_clock >= 0.0 ? o.sigma_clock : 0.04 * std::sqrt(spacing / 900.0);
        e.screening.jump = spacing > 60.0 ? 0.10 : 0.06;
    } else {
        e.noise.broadcast_phase = o.sigma_clock >= 0.0 ? o.sigma_clock : 0.1;
        e.noise.broadcast_code = 10.0 * e.noise.broadcast_phase;
        e.screening.jump = 0.06;
    }
}

}  // namespace

std::vector<EmpiricalTerm> empirical_terms(const OrbitOptions& o, const ORBIT_DYN_CONFIG& config) {
    std::vector<EmpiricalTerm> terms;
    for (const std::string& text : o.empirical) terms.push_back(parse_term(text));
    if (!terms.empty()) return terms;
    for (int i = 0; i < config.emp_param_num_base; ++i) {
        const EMP_PARAM_BASE& kind = config.emp_params_base[i];
        if (kind.fm == FM_EMP) terms.push_back({kind.name_param, kind.interval, 0.0, 0.0});
    }
    if (!terms.empty()) return terms;
    for (const char* text : {"A0:0:1000", "C0:0:100", "AC:0:100", "AS:0:100", "CC:0:100", "CS:0:100"})
        terms.push_back(parse_term(text));
    // A field of a low degree leaves more, and faster.
    const bool coarse = config.norder_gravity < kGoodDegree;
    for (const char* text :
         {coarse ? "R0:120:300" : "R0:360:5", coarse ? "A0:120:300" : "A0:360:10", coarse ? "C0:120:300" : "C0:360:10"})
        terms.push_back(parse_term(text));
    return terms;
}

TrajectoryPoint point_at(const Motion& motion, const GTime& start, double t) {
    Eigen::Vector3d r, v;
    motion.state_at(t, r, v);
    TrajectoryPoint p{};
    p.utc = gtimeChangeTimeSystem(gtimeAddSec(start, t), tsUTC);
    std::copy_n(r.data(), 3, p.pos_eci);
    std::copy_n(v.data(), 3, p.vel_eci);
    const double mjd = gtime2mjd(p.utc);
    eci2ecf(mjd, getLeapSecond(mjd), p.pos_eci, p.vel_eci, p.pos_ecf, p.vel_ecf);
    return p;
}

void load(const OrbitOptions& o, OrbitJob& job) {
    const Progress progress("reading files");
    if (!o.sp3_antenna.empty() && o.inputs.sp3.empty()) throw InputError("--sp3-antenna needs precise orbits (--sp3)");
    if (!o.dynamics.dynamics.empty()) check_dynamics_config(o.dynamics.dynamics);
    check_antenna(o.antenna, !o.inputs.att.empty());
    prepare(o.inputs, job.environment);
    cut_observations(o);
    const GTime first = g_obs_storage[0].epoch_time;
    job.last = g_obs_storage[g_num_obs_storage - 1].epoch_time;
    for (const std::string& note : hold_against_arc(job.environment, first, job.last))
        std::fprintf(stderr, "leopod orbit: note: %s\n", note.c_str());
    prepare_forces(o, gtime2mjd(first), gtime2mjd(job.last), job.dynamics, job.environment);
    if (!o.sp3_antenna.empty()) move_to_phase_centers(o.sp3_antenna, job.environment);
    Guard guard(job.environment.runtime->prec_storage, first, job.environment.clock_interval);
    job.arc = collect_observations(o.inputs.obs.front(), guard);
    set_estimation(o, job.arc, job.dynamics.config->norder_gravity, job.estimation);
}

}  // namespace host
