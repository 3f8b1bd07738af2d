// vela-mask: what its files and its stream may be, and that each picture is masked before it's written.
#include "models/agree.hpp"
#include "run.hpp"
#include "support.hpp"
#include <array>
#include <cstring>
#include <fcntl.h>
#include <fnmatch.h>
#include <stdexcept>

namespace {

// A file without a name that holds a text, at its start.
int file_of(const std::string &text) {
    const int file = fileno(std::tmpfile());
    ck_assert_int_eq(write(file, text.data(), text.size()), static_cast<ssize_t>(text.size()));
    lseek(file, 0, SEEK_SET);
    return file;
}
std::string text_of(int file) {
    std::string text(static_cast<size_t>(lseek(file, 0, SEEK_END)), '\0');
    ck_assert_int_eq(pread(file, text.data(), text.size(), 0), static_cast<ssize_t>(text.size()));
    return text;
}

constexpr char kMasks[] = R"({"masks": [
    {"id": "1", "name": "a \"door\"", "on": true, "corners": [[-8, 6], [9, 5.5], [7, -6], [-7, -5e0]]},
    {"id": "2", "name": "", "on": false, "corners": [[0, 0], [90, 0], [90, 80]]}]})";

masking usual(settings::track track) {
    return {settings::read_masks(kMasks, "masks"),
            vela_lens_of_fov(VELA_LENS_PINHOLE, 95, 53, 60),
            std::move(track),
            0,
            0,
            {}};
}

std::string masked(const std::string &stream, const masking &how) {
    const int out = file_of("");
    y4m::stream pictures(file_of(stream), out);
    long last = 0;
    ck_assert(mask_stream(pictures, how, [&](long count) { last = count; }));
    const std::string text = text_of(out);
    ck_assert_int_le(last, 3);
    return text;
}

// What the action throws, by a pattern.
template <class Action>
void assert_refused(const std::string &input, const char *pattern, Action &&action) {
    std::string said = "nothing";
    try {
        action();
    } catch (const std::runtime_error &wrong) {
        said = wrong.what();
    }
    ck_assert_msg(fnmatch(pattern, said.c_str(), 0) == 0, "%s: says %s, expected %s", input.c_str(), said.c_str(),
                  pattern);
}

const std::string kHeader = "YUV4MPEG2 W95 H53 F10:1 Ip A1:1 C";

} // namespace

// Each kind of pictures, each position of a table and the way between positions.
TEST(each_picture_is_masked_where_the_camera_looks) {
    const struct {
        const char *tag;
        int format, colours;
    } rows[] = {{"mono", VELA_GREY, VELA_BT601_STUDIO},     {"420jpeg XCOLORRANGE=FULL", VELA_I420, VELA_BT601_FULL},
                {"420mpeg2", VELA_I420, VELA_BT601_STUDIO}, {"420paldv", VELA_I420, VELA_BT601_STUDIO},
                {"422", VELA_I422, VELA_BT601_STUDIO},      {"444 XYSCSS=444", VELA_I444, VELA_BT601_STUDIO}};
    const settings::track table("# a turn through north\nt,tilt,pan\n0, 1 ,350\n\n0.2,-3,10\r\n", "table");
    for (const auto &row : rows)
        for (const double late : {0.0, 0.15}) {
            vela_picture picture = {95, 53, row.format, row.colours, {}};
            std::string frame(vela_picture_lay_out(&picture, nullptr, 0), 'x');
            const std::string header = kHeader + row.tag + "\n";
            masking how = usual(table);
            how.late = late;
            const std::string got = masked(header + "FRAME\n" + frame + "FRAME Xa\n" + frame + "FRAME\n" + frame, how);
            std::string expected = header;
            const vela_orientation turns[] = {{350, 1, 0}, {0, -1, 0}, {10, -3, 0}};
            for (size_t i = 0; i < 3; ++i) {
                std::string one = frame;
                vela_picture_lay_out(&picture, reinterpret_cast<uint8_t *>(one.data()), one.size());
                const auto view_at = [&](const vela_orientation &where) {
                    return settings::view(vela_view_make(95, 53, &where, &how.lens));
                };
                const auto hide = [&](const vela_orientation &from, const vela_orientation &to) {
                    ck_assert_int_eq(
                        vela_mask_hide(how.masks[0].get(), view_at(from).get(), view_at(to).get(), &picture, nullptr),
                        0);
                };
                const vela_orientation ends[] = {{5, -2, 0}, {10, -3, 0}};
                if (late == 0 || i == 2)
                    ck_assert_int_eq(
                        vela_mask_hide(how.masks[0].get(), view_at(turns[i]).get(), nullptr, &picture, nullptr), 0);
                else
                    hide(turns[i], ends[i]);
                expected += (i == 1 ? "FRAME Xa\n" : "FRAME\n") + one;
            }
            agree("the stream", std::string(row.tag), got, expected);
        }
}

TEST(lenses_have_opencvs_names) {
    const auto read = [](const char *text) { return settings::read_lens(text, "lens", 640, 480); };
    const auto numbers = [](const vela_lens &l) {
        std::array<double, 10> all = {double(l.model), l.fx, l.fy, l.cx, l.cy};
        std::copy_n(l.distortion, 5, &all[5]);
        return all;
    };
    const std::array<double, 10> pinhole = {VELA_LENS_PINHOLE, 500, 510, 320, 239.5, -0.1, 0.01, 0.001, -0.002, 0.003};
    const char *const pinholes[] = {
        R"({"fx": 500, "fy": 510, "cx": 320, "cy": 239.5, "k1": -0.1, "k2": 0.01, "p1": 0.001, "p2": -0.002, "k3": 0.003})",
        R"({"camera_matrix": [[500, 0, 320], [0, 510, 239.5], [0, 0, 1]], "dist_coeffs": [[-0.1, 0.01, 0.001, -0.002, 0.003]]})",
        R"({"image_width": 640, "camera_matrix": {"rows": 3, "data": [500, 0, 320, 0, 510, 239.5, 0, 0, 1]},
            "dist_coeffs": {"data": [-0.1, 0.01, 0.001, -0.002, 0.003, 0, 0, 0]}})"};
    for (const char *text : pinholes)
        agree_all("a pinhole", std::string(text), numbers(read(text)), pinhole);
    agree_all("a fisheye", std::string(), numbers(read(R"({"model": "fisheye", "fx": 300, "k4": 0.001})")),
              std::array<double, 10>{VELA_LENS_FISHEYE, 300, 300, 320, 240, 0, 0, 0, 0.001});
    const struct {
        const char *text, *says;
    } refused[] = {{"{\n\"fx\": \"5\"}", "lens:2: fx: expected a number"},
                   {R"({"fx": 0})", "lens:1: this is no lens*"},
                   {R"({"fx": 500, "image_height": 479})", "lens:1: the lens is that of another size*"},
                   {R"({"model": "wide", "fx": 500})", "lens:1: model: expected*"},
                   {R"({"camera_matrix": [500, 1, 320, 0, 500, 240, 0, 0, 1]})", "lens:1: camera_matrix: expected*"},
                   {R"({"fx": 500, "dist_coeffs": [0, 0, 0, 0, 0, 0.1]})", "lens:1: distortion: only*"},
                   {R"({"fx": 500, "k4": 0.1})", "lens:1: distortion: only*"},
                   {R"({"model": "fisheye", "fx": 500, "p1": 0.1})", "lens:1: distortion: only*"},
                   {R"({"fx": 1e999})", "lens:1: expected a value"}};
    for (const auto &[text, says] : refused)
        assert_refused(text, says, [&] { (void)read(text); });
}

TEST(files_are_refused_with_the_line_that_is_wrong) {
    const auto nested = std::string(40, '[') + std::string(40, ']');
    const struct {
        std::string text;
        const char *says;
    } masks[] = {{"", "m:1: expected a value"},
                 {"[", "m:1: expected a value"},
                 {"[\n{\"corners\": [[1, 2], [3, 4]\n]}]", "m:2: these corners enclose nothing"},
                 {"[{\"corners\": [[1, 2, 3]]}]", "m:1: a corner: expected*"},
                 {"[{\"on\": 1}]", "m:1: on: expected*"},
                 {"[{}]", "m:1: a mask without corners"},
                 {"{\"masks\": 1}", "m:1: masks: expected an array"},
                 {"[] []", "m:1: something after the end"},
                 {"[\"a\n\"]", "m:1: a string without its end"},
                 {nested, "m:1: too deeply nested"}};
    for (const auto &[text, says] : masks)
        assert_refused(text, says, [&text = text] { (void)settings::read_masks(text, "m"); });
    const struct {
        const char *text, *says;
    } tables[] = {{"", "t: no positions"},
                  {"t,pan,tilt\n", "t: no positions"},
                  {"t,pan\n1,2\n", "t:1: there is no column \"tilt\""},
                  {"t,pan,tilt,pan\n", "t:1: a column comes twice"},
                  {"t,pan,tilt,time\n", "t:1: no column is called \"time\"*"},
                  {"t,pan,tilt\n0,1\n", "t:2: tilt: expected a number"},
                  {"t,pan,tilt\n0,1,2,3\n", "t:2: more fields than columns"},
                  {"t,pan,tilt\n0,1,nan\n", "t:2: tilt: expected a number"},
                  {"t,pan,tilt\n0,1,91\n", "t:2: tilt: expected -90 to 90"},
                  {"t,pan,tilt,fov\n0,1,2,0\n", "t:2: fov: expected a number above 0"},
                  {"t,pan,tilt\n1,1,2\n#\n1,1,2\n", "t:4: times don't grow"}};
    for (const auto &[text, says] : tables)
        assert_refused(text, says, [text = text] { (void)settings::track(text, "t"); });
}

TEST(broken_streams_are_refused_and_no_picture_is_written_in_part) {
    const std::string good = kHeader + "mono\n", frame = "FRAME\n" + std::string(95 * 53, 'x');
    const struct {
        std::string stream;
        const char *says;
    } rows[] = {{"", "*: not YUV4MPEG2*"},
                {"YUV4MPEG W2 H2\n", "*: not YUV4MPEG2*"},
                {"YUV4MPEG2 W2 H2", "*: ends within a header"},
                {"YUV4MPEG2 W0 H2\n", "*: the width and the height*"},
                {"YUV4MPEG2 W2 H65536\n", "*: the width and the height*"},
                {"YUV4MPEG2 W99999999999 H2\n", "*: the width and the height*"},
                {"YUV4MPEG2 W2 H2 C420p10\n", "*: pictures of \"C420p10\"*"},
                {"YUV4MPEG2 W2 H2 It\n", "*: interlaced*"},
                {"YUV4MPEG2 " + std::string(1024, 'X'), "*: a header of more than 1024 bytes"},
                {good + "FRAMES\n", "*: expected FRAME"},
                {good + "FRAM", "*: ends within the line of a picture"},
                {good + frame + frame.substr(0, 5000), "*: ends within a picture"}};
    const masking how = usual(settings::track({}));
    for (const auto &[stream, says] : rows) {
        const int out = file_of("");
        assert_refused(stream.substr(0, 60), says, [&stream = stream, &how, out] {
            y4m::stream pictures(file_of(stream), out);
            (void)mask_stream(pictures, how, [](long) {});
        });
        const size_t written = text_of(out).size();
        ck_assert_msg(written == 0 || (written - good.size()) % frame.size() == 0, "%zu bytes of %s", written,
                      stream.c_str());
    }
    assert_refused("no rate", "*no rate*", [&] {
        (void)masked("YUV4MPEG2 W95 H53 Cmono\n", usual(settings::track("t,pan,tilt\n0,0,0\n1,0,0\n", "t")));
    });
    // Nobody reads.
    int ends[2];
    ck_assert_int_eq(pipe(ends), 0);
    close(ends[0]);
    std::signal(SIGPIPE, SIG_IGN);
    y4m::stream pictures(file_of(good + frame), ends[1]);
    ck_assert(!mask_stream(pictures, how, [](long) {}));
}
