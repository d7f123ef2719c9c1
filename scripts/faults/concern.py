"""Which tests concern which module of the library and which source of the program."""

import re

# The tests that concern a module, test_base as "base", and "damage:*/9,*/10" for some of its cases; the quick ones run first. Left
# out: tests that compile, install, load other builds, or take long (damage, campaign, plot).
TESTS = {
    "attitude": "attitude file_formats obs_processing pod_embed point_position process_ends host_simulate record record_runs",
    "common_function": "base displacement file_formats gnss_satposition host_tide keplerian tle record:Recorded.* record_runs",
    "earth_gravity": "earth_gravity displacement file_formats orbit_forces orbit_fit orbit_drivers host record record_runs",
    "earth_rotation_param": "earth_rotation file_formats host pod_embed tle orbit_forces host_simulate record record_runs",
    "eph_planet": "eph_planet file_formats orbit_forces process_ends host record record_runs",
    "ephemeris_fit": "ephemeris_fit gnss_satposition record:Recorded.*",
    "gnss_config": "gnss_config gnss_rtk pod_embed host_simulate record record_runs",
    "gnss_observation": "gnss_observation file_formats pod_embed host host_simulate record record_runs",
    "gnss_ppp": "point_position pod_embed process_ends host host_simulate record_runs",
    "gnss_rtk": "gnss_rtk pod_embed record_runs",
    "gnss_satposition": "gnss_satposition file_formats pod_embed point_position host host_simulate record record_runs",
    "gnss_simulator": "base",
    "gtime": "base earth_rotation gnss_satposition tle pod_embed host record",
    "iau_function": "iau iers earth_rotation tle orbit_forces record:Recorded.*",
    "iers_function": "iers displacement earth_rotation earth_gravity tle host_tide record:Recorded.*",
    "keplerian_element": "keplerian mathlib tle host_simulate record:Recorded.*",
    "lines": "base file_formats gnss_config gnss_observation gnss_satposition laser_ranging tle orbit_forces host_crd record",
    "mathlib": "mathlib keplerian ephemeris_fit attitude obs_processing point_position orbit_fit pod_embed record:Recorded.* record_runs",
    "memory": "base gnss_satposition orbit_drivers pod_embed tle record_runs memory",
    "obs_processing": "obs_processing attitude displacement laser_ranging point_position pod_embed gnss_rtk host record:Recorded.* record_runs",
    "observation_laser_ranging": "laser_ranging file_formats host_crd record",
    "orbit_dynamics": "orbit_forces orbit_fit orbit_drivers file_formats pod_embed process_ends host host_simulate record:Recorded.* record_runs",
    "pod_embed": "pod_embed point_position gnss_rtk process_ends host host_simulate record_runs",
    "print": "base orbit_drivers tle pod_embed record_runs",
    "report": "base gnss_config gnss_rtk process_ends record:Recorded.* record_runs",
    "text": "base file_formats gnss_config gnss_observation gnss_satposition laser_ranging tle orbit_forces host_crd record",
    "tle": "tle file_formats host_tle record",
    "ulog": "base process_ends",
}
# The same for the program, whose sources are modules by their path; the longest beginning holds.
ROOMS = {
    "host/commands/": "baseline host host_inputs host_exchange host_trust",
    "host/commands/crd": "baseline:*laser_sessions,*tables,*refusals host_crd file_formats host_exchange:Exchange.Summaries*",
    "host/commands/elements": "baseline:*element*,*tables,*refusals host_tle host_exchange:Exchange.Summaries*",
    "host/commands/fit": "baseline host_tables host host_exchange host_inputs file_formats host_plot host_trust",
    "host/commands/options": "baseline host_tables host host_inputs host_exchange host_trust host_simulate",
    "host/commands/orbit": "baseline host_orbit host_exchange:Exchange.Summaries*",
    "host/commands/plot": "baseline:*figures*,*pictures,*refusals host_plot",
    "host/commands/propagate": "baseline host_tables host host_exchange host_trust file_formats",
    "host/commands/report": "baseline:*report*,*refusals host_report:Report.Texts*",
    "host/commands/run": "baseline host_tables host host_satellites host_inputs host_exchange host_trust",
    "host/commands/simulate": "baseline host_simulate host_tables file_formats host_exchange:Exchange.Summaries*",
    "host/commands/tide": "baseline:*tide*,*tables,*refusals host_tide host_exchange:Exchange.Summaries*",
    "host/estimation/": "baseline host_orbit",
    "host/estimation/first_": "baseline host_tables host host_exchange host_orbit",
    "host/estimation/position_fit": "baseline host_tables host host_exchange host_trust",
    "host/estimation/weighted_fit": "baseline host_tables host host_exchange host_trust",
    "host/inputs/": "baseline host_inputs host host_exchange file_formats host_trust",
    "host/inputs/blq": "baseline host_tide file_formats",
    "host/inputs/crinex": "baseline host_inputs host file_formats",
    "host/inputs/crd": "baseline host_crd file_formats",
    "host/inputs/laser_points": "baseline host_orbit file_formats",
    "host/inputs/satellite_rows": "baseline host_plot host_report:Report.Texts*",
    "host/inputs/solutions": "baseline host_plot host_report:Report.Texts*",
    "host/main": "baseline host host_inputs",
    "host/model/": "baseline host_simulate",
    "host/outputs/": "baseline host_exchange host host_inputs file_formats",
    "host/pictures/": "baseline:*figures*,*pictures,*report*,*refusals host_plot host_report:Report.Texts*",
    "host/pictures/report": "baseline:*report*,*refusals host_report:Report.Texts*",
    "host/shared/console": "baseline progress host host_exchange host_plot",
    "host/shared/messages": "baseline host host_trust host_inputs",
    "host/shared/": "baseline host_tables host_inputs host host_exchange host_trust host_plot host_crd host_tle",
    "host/stores/satellites": "baseline host_satellites host_tables host_plot",
    "host/stores/": "baseline host_tables host host_trust host_inputs host_simulate host_orbit",
}
STATIC_TEST = {"iau_function": "iau"}  # this one links the static library


def tests_of(module):
    """The tests that concern a module of the library or a source of the program."""
    if module in TESTS:
        return TESTS[module].split()
    return ROOMS[max((room for room in ROOMS if module.startswith(room)), key=len)].split()


def path_of(module):
    return module + ".cpp" if module.startswith("host/") else f"src/{module}.cpp"


def room_of(module):
    """The room of a source of the program; a module of the library stands for itself."""
    return re.sub("(host/.*)/.*", r"\1", module)
