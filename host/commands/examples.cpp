#include "commands/command.h"

namespace host {

void add_examples(Command root) {
    const std::pair<const char*, const char*> examples[] = {
        {"run",
         "leopod run --obs day.obs --sp3 orbits.sp3 --out epochs.csv --round --sp3-out day.sp3 --summary day.json"},
        {"fit",
         "leopod fit --positions epochs.csv --interval 60 --dynamics fit_leo.cfg --gravity EGM2008.txt --oem-out "
         "orbit.oem"},
        {"orbit",
         "leopod orbit --obs day.obs --sp3 orbits.sp3 --clk clocks.clk --eop finals.data --eop-format rapid --out "
         "orbit.csv"},
        {"propagate",
         "leopod propagate --state orbit.oem --duration 86400 --dynamics orbit_dynamics.cfg --out next.csv"},
        {"tide",
         "leopod tide --blh 57.3958 11.9264 45 --epoch 2021-01-18T00:00:00 --duration 86400 --interval 900 --out "
         "tide.csv"},
        {"tle", "leopod tle --tle catalogue.3le --name 'LAGEOS 1' --duration 86400 --step 60 --out states.csv"},
        {"crd", "leopod crd lageos1_202101.npt --out lageos1 --records 11,20,40"},
        {"plot", "leopod plot errors --truth truth.csv --in epochs.csv:point --in epochs.csv:filter --out errors.svg"},
        {"report", "leopod report --in epochs.csv --satellites satellites.csv --out report.html"},
        {"simulate",
         "leopod simulate --orbit orbit.csv --nav brdc.nav --obs-out arc.obs --att-out arc.att --truth-out truth.csv"}};
    for (const auto& [name, text] : examples) root.example(name, text);
}

}  // namespace host
