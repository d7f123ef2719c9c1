// The page of a report: what stands in it, and how it works in a browser.
#include <cstdlib>
#include <regex>
#include <thread>

#include "host_support.h"

namespace {

using namespace support;

constexpr int kEpochs = 8640;  // a day at 10 s
constexpr int kSeen = 10;      // satellites in an epoch

/// A day of a run on a circular orbit, whose filter is 1 m off and whose point position is 3 m off in height; and its truth.
class Report : public HostTest {
  protected:
    void SetUp() override {
        HostTest::SetUp();
        std::string epochs =
            "epoch_gpst,mjd_gpst,sod_gpst,status,x_ecef_m,y_ecef_m,z_ecef_m,clock_GPS_m,satellites,sigma_m,gdop,"
            "receive_gpst,receive_sod_gpst,filter_x_ecef_m,filter_y_ecef_m,filter_z_ecef_m,filter_clock_GPS_m\n";
        std::string satellites =
            "epoch_gpst,mjd_gpst,sod_gpst,satellite,azimuth_deg,elevation_deg,antenna_azimuth_deg,antenna_elevation_"
            "deg,"
            "status,used_point,range1_residual_m,range2_residual_m,used_filter,slip,code_if_residual_m,phase_if_"
            "residual_m\n";
        std::string truth = "mjd_gpst,sod_gpst,x_m,y_m,z_m\n";
        char line[300];
        for (int i = 0; i < kEpochs; ++i) {
            const double angle = 2.0 * 3.14159265358979 * i * 10.0 / 5600.0, x = std::cos(angle), y = std::sin(angle);
            std::snprintf(line, sizeof line, "59232,%d,%.4f,%.4f,0\n", 10 * i, 6.9e6 * x, 6.9e6 * y);
            truth += line;
            std::snprintf(line, sizeof line, "x,59232,%d,OK,%.4f,%.4f,0,%.3f,%d,1,2.5,x,%d,%.4f,%.4f,0,%.3f\n", 10 * i,
                          6900003 * x, 6900003 * y, std::sin(0.01 * i), kSeen, 10 * i, 6900001 * x, 6900001 * y, 0.0);
            epochs += i == 100 ? "x,59232,1000,LACK_OF_SATELLITES,,,,,3,,,,,,,,\n" : line;
            for (int k = 0; k < kSeen; ++k) {
                std::snprintf(line, sizeof line, "x,59232,%d,G%02d,%d,%d,0,50,OK,1,0.1,0.1,1,,%.5f,%.5f\n", 10 * i,
                              1 + (i / 600 * 3 + k) % 30, (36 * k + i / 20) % 360, 8 + 8 * k, std::sin(7.7 * i + k),
                              0.01 * std::sin(9.1 * i + k));
                satellites += line;
            }
        }
        inputs = " --in " + write_temp("epochs.csv", epochs) + " --satellites " +
                 write_temp("satellites.csv", satellites) + " --truth " + write_temp("truth.csv", truth) + " --log " +
                 write_temp("run.log",
                            "warning: <script>bad 1</script>\nerror: file lost\nwarning: <script>bad 22.5</script>\n") +
                 " --summary " +
                 write_temp("summary.json", R"({"command": "run", "command_line": "leopod run --obs 'a>b'", "inputs":
                 [{"file": "a.obs", "used": 8640}, {"file": "b<c", "used": 0}], "converged": true,
                 "epochs": {"count": 8641, "failed": {"LOST": 3, "LACK_OF_SATELLITES": 1}}, "settings": {"out": "x"},
                 "errors": {"reference": "t", "point": {"rms_m": 2.54321234, "n": 3}, "filter": {"rms_m": 123456.789, "n": 3}}})");
    }
    std::string inputs;
};

/// The page with scripts of the test around its own.
std::string watched(const std::string& page) {
    const std::string before =
        "<head><script>var problems = []; onerror = function (m) { problems.push(m); };"
        "['error', 'warn'].forEach(function (k) { console[k] = function (m) { problems.push(m); }; });</script>";
    const std::string behind = R"(<script>(function () {
        var lines = ['drawn ' + Math.round(performance.now())], charts = leopod.charts;
        function spans(name) {
            lines.push(name + ' ' + charts.map(function (c) {
                return c.graph.xAxisRange().map(function (t) { return Math.round(t / 1000) % 86400; }).join('-'); }).join(' '));
        }
        function press(key, shift) {
            charts[1].graph.graphDiv.parentNode.dispatchEvent(new KeyboardEvent('keydown', {key: key, shiftKey: shift, bubbles: true, cancelable: true}));
        }
        charts.forEach(function (c) {
            var ink = 0;
            document.querySelectorAll('#' + c.id + ' canvas').forEach(function (canvas) {
                var d = canvas.getContext('2d').getImageData(0, 0, canvas.width, canvas.height).data;
                for (var i = 3; i < d.length; i += 4) ink += d[i] > 0;
            });
            lines.push('chart ' + c.title + ': ' + c.series.reduce(function (n, s) { return n + s.points; }, 0) + (ink > 2000 ? ' drawn' : ' blank'));
        });
        spans('all');
        document.querySelector('[data-act="in"]').click(); spans('zoomed');
        press('ArrowRight', true); spans('panned');
        press('ArrowLeft', false);
        lines.push('read ' + document.getElementById('reading').textContent + ' ' + charts[0].series[0].value.textContent + ' ' + charts[0].series[1].value.textContent);
        press('0', false); spans('reset');
        lines.push('problems ' + problems.join('; '));
        document.body.insertAdjacentHTML('beforeend', '<pre id="found"></pre>');
        document.getElementById('found').textContent = lines.join('\n') + '\n';
    })();</script></body>)";
    std::string text = page;
    text.replace(text.rfind("</body>"), 7, behind);
    return text.replace(text.find("<head>"), 6, before);
}

Outcome browser(const std::string& options, const std::string& file) {
    const std::string profile = (temp_dir() / "profile").string();
    std::filesystem::remove_all(profile);
    return capture(
        "timeout 60 chromium --headless --no-sandbox --disable-gpu --disable-quic --no-first-run "
        "--disable-background-networking "
        "--disable-component-update --disable-sync --hide-scrollbars --window-size=1240,3000 --user-data-dir=" +
        profile + " " + options + " file://" + file);
}

TEST_F(Report, PageWorksInABrowser) {
    if (!has_command("chromium")) GTEST_SKIP() << "chromium is not installed";
    if (leopod_ok("report" + inputs + " --out " + out("page.html")).text.find("still pictures") != std::string::npos)
        GTEST_SKIP() << "dygraphs (libjs-dygraphs) is not installed";
    EXPECT_LT(std::filesystem::file_size(out("page.html")), 5'000'000u);
    const std::string page = read_file(out("page.html"));
    EXPECT_FALSE(std::regex_search(page, std::regex("(src|href)=\"(?!#|data:)"))) << "nothing is loaded from elsewhere";
    const std::string file = write_temp("watched.html", watched(page));
    std::string found;
    double drawn = 1e9, limit = 0, load = 0;
    for (int i = 0; i < 3 && !(drawn < limit); ++i) {
        getloadavg(&load, 1);  // others may take their share of the machine
        limit = 2000.0 * std::max(1.0, load / std::thread::hardware_concurrency());
        found = browser("--dump-dom 2>/dev/null", file).text;
        found = found.substr(std::min(found.size(), found.find("<pre id=\"found\">")));
        drawn = number(found, "drawn (\\d+)");
    }
    EXPECT_LT(drawn, limit) << "milliseconds until all charts are drawn";
    const int solved = kEpochs - 1, residuals = kSeen * kEpochs;
    for (const auto& [title, points] :
         {std::pair{"Radial error", 2 * solved},
          {"Along-track error", 2 * solved},
          {"Cross-track error", 2 * solved},
          {"Residuals of the phase, by satellite", residuals},
          {"Residuals of the code, by satellite", residuals},
          {"Satellites in the point position", kEpochs},
          {"Receiver clock", 2 * solved},
          {"Dilution: GDOP of the directions, and the norm of the variances \\(column gdop\\)", kEpochs + solved}}) {
        EXPECT_TRUE(std::regex_search(
            found, std::regex("chart " + std::string(title) + ": " + std::to_string(points) + " drawn")))
            << title << " " << points << "\n"
            << found;
    }
    // All charts follow the zoom and the pan of one; the values that are read off are the errors put in.
    const auto of_all = [](const std::string& name, const std::string& span) {
        return std::regex(name + "( " + span + "){8}\n");
    };
    for (const auto& [name, span] :
         {std::pair{"all", "0-86390"}, {"zoomed", "21598-64793"}, {"panned", "32396-75591"}, {"reset", "0-86390"}})
        EXPECT_TRUE(std::regex_search(found, of_all(name, span))) << name << "\n" << found;
    EXPECT_TRUE(std::regex_search(found, std::regex("read (2021-01-18 )?1\\d:\\d\\d:\\d0 GPST 3.000 1.000\n")))
        << found;
    EXPECT_TRUE(holds(found, "problems \n")) << found;
    const std::string picture = std::string(LEOPOD_BINARY_DIR) + "/report.png";
    const Outcome shot = browser("--enable-logging=stderr --screenshot=" + picture, out("page.html"));
    EXPECT_FALSE(holds(shot.text, "CONSOLE")) << shot.text;
    EXPECT_GT(std::filesystem::file_size(picture), 50'000u);
}

TEST_F(Report, TextsAndPicturesWithoutTheLibrary) {
    leopod_ok("report" + inputs + " --charts /nowhere --out " + out("still.html"));
    const std::string page = read_file(out("still.html"));
    EXPECT_FALSE(holds(page, "<script"));
    for (const char* text :
         {"These pictures stand still", "<th>LACK_OF_SATELLITES</th><td class=\"n\">1</td>",
          "<td class=\"n\">3.0000</td>",
          "<td class=\"n\">2</td><td class=\"warning\">warning</td><td>&lt;script&gt;bad 1", "<td>b&lt;c</td>",
          "<th>converged</th><td>yes</td>", "<th class=\"n\">rms [m]</th>", "<th>point</th><td class=\"n\">2.5432</td>",
          "<td class=\"n\">123457</td>", "LOST</span>&nbsp;3, <span class=\"soft\">LACK_OF_SATELLITES</span>&nbsp;1",
          "<summary>Settings and inputs", "<code>leopod run --obs 'a&gt;b'</code><code>leopod report --in",
          "coastlines", "class=\"density\"", "Residuals of the carrier-phase filter", "Satellites and geometry",
          "Orbit errors"})
        EXPECT_TRUE(holds(page, text)) << text;
    leopod_ok("report" + inputs + " --from 2021-01-18T00:16:30 --to 1020 --charts /nowhere --out " + out("part.html"));
    const std::string part = read_file(out("part.html"));
    for (const char* text : {"<th>OK</th><td class=\"n\">2</td>", "<th>LACK_OF_SATELLITES</th><td class=\"n\">1</td>",
                             "<th>OK</th><td class=\"n\">30</td>"})
        EXPECT_TRUE(holds(part, text)) << text;
    const std::string fit = write_temp("fit.csv",
                                       "epoch_gpst,seconds,along_m,radial_m,cross_m,weight,left_out\n"
                                       "2021-01-18T00:16:00,0,1,2,3,1,\n2021-01-18T00:17:00,60,-1,-2,-3,0.5,\n");
    leopod_ok("report" + inputs + " --residuals " + fit + " --out " + out("fit.html"));
    const std::string fitted = read_file(out("fit.html"));
    EXPECT_TRUE(holds(fitted, "Residuals of the fit"));
    EXPECT_EQ(holds(fitted, "Residuals of the fit\",\"axis\""), holds(fitted, "<script"));  // with dygraphs
}

}  // namespace
