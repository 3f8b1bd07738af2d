// Every allocation of every module made to fail in turn: what was made so far stays right, and nothing leaks.
#include "allocator.hpp"
#include "generated.hpp"
#include "models/cgi.hpp"
#include "scratch.hpp"
#include <algorithm>
#include <vela/check.h>
#include <vela/chull.h>
#include <vela/cmdline.h>
#include <vela/cpp/cgi.hpp>
#include <vela/cpp/matrix.hpp>
#include <vela/filesystem.h>
#include <vela/interp.h>
#include <vela/overlay.h>
#include <vela/resample.h>

// Allocations of C++ until one throws; negative afterwards, and if none is to throw.
static int until_throw = -1;

// Not inlined, or GCC takes each free() for one that doesn't match its operator new.
[[gnu::noinline]] void *operator new(size_t size) {
    void *const block = until_throw >= 0 && until_throw-- == 0 ? nullptr : std::malloc(size);
    if (!block)
        throw std::bad_alloc();
    return block;
}
[[gnu::noinline]] void operator delete(void *block) noexcept { std::free(block); }
[[gnu::noinline]] void operator delete(void *block, size_t) noexcept { std::free(block); }

// Each text is whole or not there at all.
TEST(requests_keep_whole_texts_or_none) {
    setenv("HTTP_HOST", "host", 1);
    oom::each_allocation_fails([] {
        set_input("a=3&b");
        cgi_request *cgi = request("POST", "a=1", "a=2", "5");
        if (!cgi)
            return;
        // What the first look-up in a form can't parse, no later one does.
        const bool has_form = cgi_form_param(cgi, "a");
        ck_assert_int_eq(cgi_form_param(cgi, "b") != nullptr, has_form);
        ck_assert_int_eq(cgi->body_len, 5);
        const std::string error = captured(stdout, [=] { cgi_error(cgi, 404, nullptr); });
        const std::string body = error.ends_with("Length: 0\r\n\r\n") ? "" : "Not Found";
        assert_text_eq(error, "Status: 404\r\nContent-Type: text/plain\r\nContent-Length: " +
                                  std::to_string(body.size()) + "\r\n\r\n" + body);
        const char *const results[][2] = {
            {cgi_query_param(cgi, "a"), "1"}, {cgi_cookie(cgi, "a"), "2"}, {cgi_header(cgi, "host"), "host"}};
        for (const auto &[result, whole] : results)
            ck_assert_pstr_eq(result, result ? whole : nullptr);
        cgi_cleanup(cgi);
    });
}

TEST(requests_of_cpp_are_whole_truncated_empty_or_thrown) {
    const std::string body(200000, 'b'), form = "a=" + std::string(50, '1');
    cgi_cleanup(request("POST", form.c_str(), form.c_str(), "200000")); // sets the environment
    const auto is_read = [&] {
        set_input(body);
        const auto one = vela::cgi::request::read(body.size());
        if (one && !one->is_truncated())
            ck_assert(one->text() == body && one->query("a") && one->cookie("a"));
        return one && !one->is_truncated();
    };
    int unread = 0, thrown = 0;
    oom::each_allocation_fails([&] {
        const bool good = is_read();
        unread += !good;
        ck_assert(good || oom::has_failed());
    });
    ck_assert_int_eq(unread, 2); // without the record, without its body; the C names are not used

    for (bool is_done = false; !is_done; thrown += !is_done) {
        const int before = oom::live_blocks;
        until_throw = thrown;
        try {
            is_done = is_read();
        } catch (const std::bad_alloc &) {
        }
        is_done = is_done && until_throw >= 0;
        until_throw = -1;
        ck_assert_int_eq(oom::live_blocks, before);
        ck_assert_int_lt(thrown, 1000);
    }
    ck_assert_int_gt(thrown, 3);
}

TEST(empty_tokens_take_no_memory) {
    for (const std::string tokens : {"&", "=", "&=", "; ", ";  =  "}) {
        std::string text = "a=1";
        while (text.size() < 100000)
            text += tokens;
        const size_t before = oom::requested;
        cgi_request *cgi = request("GET", tokens[0] == ';' ? "" : text.c_str(), tokens[0] == '&' ? "" : text.c_str());
        const size_t taken = oom::requested - before;
        ck_assert_msg(taken < 1000, "100000 bytes of %s: %zu bytes of memory", shown(tokens).c_str(), taken);
        cgi_cleanup(cgi);
    }
}

TEST(urls_are_whole_or_null) {
    oom::each_allocation_fails([] {
        assert_text_eq(components("s://u:p@h:80/a?b"), oom::has_failed() ? "null" : "<s> <u> <p> <h> <80> </a> <b>");
    });
}

// A string that can't be copied leaves its field null; the parse goes on.
TEST(options_that_cannot_be_copied_are_null) {
    oom::each_allocation_fails([] {
        arguments given = {"tests", "-s", "a", "-s", "url", "-x", "log.xml", "-v"};
        vela_check_config config;
        cmdline_reset();
        ck_assert_int_eq(__vela_check_parse_cmdline(8, given.vector.data(), &config), 1);
        ck_assert_int_eq(config.verbosity, 3);
        __vela_check_destroy_cfg(&config);
    });
}

// A hull that is built and grown, or built in steps: whatever stops says so, and can be counted, printed and emptied.
TEST(hulls_that_stop_say_so_and_can_be_emptied) {
    constexpr int32_t n = 40, half = n / 2;
    const auto xs = noise<uint8_t>(n, 1), ys = noise<uint8_t>(n, 2), zs = noise<uint8_t>(n, 3);
    const uint8_t *const x = xs.data(), *const y = ys.data(), *const z = zs.data();
    for (const bool in_steps : {false, true})
        oom::each_allocation_fails([&] {
            chull_ctx *hull = reinterpret_cast<chull_ctx *>(1);
            if (alloc_chull(&hull) != 0) {
                ck_assert_ptr_null(hull);
                return;
            }
            const bool complete =
                in_steps ? !ReadVertices(hull, x, y, z, n) && !DoubleTriangle(hull) && !ConstructHull(hull)
                         : !get_chull(x, y, z, half, hull) && !get_chull(x + half, y + half, z + half, half, hull);
            ck_assert(!complete || Checks(hull) == 0);
            for (int32_t i = 0; complete && i < n; ++i)
                ck_assert_int_eq(is_in_chull(hull, x[i], y[i], z[i]), 1);
            chull_num_vertices(hull);
            captured(stderr, [&] { PrintEdges(hull), PrintFaces(hull); });
            free_chull(hull);
            oom_free(hull);
        });
}

// The steps make a record of every point, and of every face on the way; get_chull() only of what the hull has.
TEST(points_inside_a_hull_take_no_records) {
    constexpr int32_t n = 5000;
    const auto xs = noise<uint8_t>(n, 1), ys = noise<uint8_t>(n, 2), zs = noise<uint8_t>(n, 3);
    chull_ctx *hull = nullptr;
    ck_assert_int_eq(alloc_chull(&hull), 0);
    for (int32_t half = 0; half < 2; ++half) {
        const int allocated = oom::allocations;
        ck_assert_int_eq(get_chull(&xs[half * n / 2], &ys[half * n / 2], &zs[half * n / 2], n / 2, hull), 0);
        const auto records = static_cast<int>(chull_num_vertices(hull) + chull_num_edges(hull) + chull_num_faces(hull));
        ck_assert_int_lt(oom::allocations - allocated, records + 50);
    }
    free_chull(hull);
    oom_free(hull);
}

// The names stored so far are kept, with null pointers after them; the capacity is doubled.
TEST(lists_of_names_keep_what_they_have) {
    oom::each_allocation_fails([] {
        name_list list = {};
        for (int32_t i = 0, stored = 0; i < 40; ++i) {
            if (add_to_names(&list, "name") == 0)
                ck_assert_uint_eq(list.capacity, ++stored < 16 ? 16 : stored < 32 ? 32 : 64);
            ck_assert_int_eq(list.count, stored);
            ck_assert_int_ge(stored, i);
            ck_assert_int_eq(std::count(list.names, list.names + list.capacity, nullptr), list.capacity - stored);
        }
        std::for_each(list.names, list.names + list.count, oom_free);
        oom_free(list.names);
    });
}

TEST(walks_and_parents_end_with_their_result) {
    const scratch scratch({"t/a/", "t/b/", "t/c/"});
    oom::each_allocation_fails([&] {
        ck_assert_int_eq(mkdirp("new/er"), -oom::has_failed());
        std::filesystem::remove_all("new");
    });
    oom::each_allocation_fails([&] {
        char **names = nullptr;
        int32_t result = 0, count = 0;
        captured(stderr, [&] { result = walk_dir("t", "", WALK_DIRS, &names); });
        for (; names && names[count]; ++count)
            oom_free(names[count]);
        oom_free(names);
        ck_assert_msg(result == 3 ? count == 2 || count == 0 : count == 3, "%d: %d names", result, count);
    });
}

// Scratch memory is given back; without it the call aborts, which is tried in a process of its own, and reports why.
TEST(curves_abort_without_scratch_memory) {
    static const interp_knot knots[] = {{0, 0}, {4, 100}, {8, 0}};
    static const interp_curve curve = {INTERP_SPLI, 3, knots};
    static int16_t out[9];
    static int32_t y2[3];
    static float values[9];
    const std::pair<void (*)(), std::string> rows[] = {
        {[] { spline_c(&curve, y2); }, "spline_c(*): Assertion `u"},
        {[] { spline_float(&curve, values); }, "spline_float(*): Assertion `u"},
        {[] { static_cast<void>(spline_interpolate(&curve, out)); }, "spline_interpolate(*): Assertion `y2"},
        {[] { spline_interpolate_float(&curve, values); }, "spline_interpolate_float(*): Assertion `y2"}};
    for (const auto &[call, report] : rows) {
        const int before = oom::live_blocks;
        call();
        ck_assert_int_eq(oom::live_blocks, before);
        assert_aborts("*source/interp.cpp:*" + report + " != ((void \\*)0)' failed*", [act = call] {
            oom::countdown = 0;
            act();
            return 0;
        });
    }
}

namespace {

// What is printed while each allocation fails in turn; exactly the runs in which one does fail.
template <class Scenario>
std::string messages(Scenario scenario) {
    std::string all;
    oom::each_allocation_fails(
        [&] { all += captured(stderr, [&] { ck_assert_int_eq(scenario(), oom::has_failed()); }); });
    return all;
}

// A matrix has two allocations, and what follows when it can't be made is the same.
std::string unmade(const std::string &then = "") {
    return "malloc_matrix: failed fmatrix malloc\n" + then + "malloc_matrix: failed data malloc\n" + then;
}

} // namespace

TEST(matrices_say_what_failed) {
    float elements[] = {1, 2, 3, 4, 5, 7}, coeffs[6];
    const fmatrix a = {3, 2, elements};
    // The results made so far are the caller's; u holds the matrix, and working storage fails silently.
    assert_text_eq(messages([&] {
                       fmatrix *t = nullptr, *u = nullptr, *w = nullptr, *v = nullptr;
                       const int32_t result = transpose(&a, &t) || svdcmp(&a, &u, &w, &v);
                       ck_assert(!u || result == 0 || std::equal(elements, elements + 6, u->data));
                       for (fmatrix *m : {t, u, w, v})
                           free_matrix(m);
                       return result;
                   }),
                   unmade() + unmade() + unmade() + unmade());
    const uint16_t xs[] = {0, 1, 2, 0, 1, 3}, ys[] = {0, 0, 1, 2, 3, 3};
    const std::string last = "polyfit2D: failed pseudo inverse\n", svdcmp = "pseudo_inverse: svdcmp() failed\n" + last;
    assert_text_eq(messages([&] { return polyfit2D(xs, ys, elements, 6, coeffs); }),
                   unmade("polyfit2D: failed to allocate XY matrix\n") + unmade(svdcmp) + unmade(svdcmp) +
                       unmade(svdcmp) + svdcmp + unmade("pseudo_inverse: transpose() failed\n" + last) +
                       unmade("pseudo_inverse: malloc() failed\n" + last));
    oom::countdown = 1; // of the largest matrix that may be
    assert_text_eq(captured(stderr, [] { ck_assert(!vela::matrix::make(0x3FFFFFFF, 1)); }),
                   "malloc_matrix: failed data malloc\n");
}

TEST(filter_banks_need_all_their_memory) {
    oom::each_allocation_fails([] {
        const resample_design design = {0.8, 1.2, 90, 4};
        resample_bank *bank = resample_bank_alloc(2, 3, &design, 1);
        ck_assert_int_eq(bank == nullptr, oom::has_failed());
        oom_free(bank);
    });
}

// With a table but no memory for its rows, a record converts all the same; a table that can't be replaced stays.
TEST(resamplers_keep_the_table_they_have) {
    for (const uint32_t kernel : {RESAMPLE_LANC, RESAMPLE_LAN2, RESAMPLE_BILI})
        oom::each_allocation_fails([kernel] {
            resample_state *state = resample_alloc(1, 2, kernel);
            ck_assert_int_eq(state == nullptr, oom::has_failed());
            if (!state)
                return;
            const int16_t *const table = state->coeffs;
            const auto taps = state->num_coeffs;
            kernel == RESAMPLE_LAN2 ? init_bilinear(state) : init_lanczos(state, 2);
            ck_assert_int_eq(state->coeffs == table, state->num_coeffs == taps);
            const int16_t in[64] = {};
            int16_t out[32] = {1};
            uint32_t used = 64, made = 32;
            resample_test(state, in, &used, out, &made);
            ck_assert_int_eq(made, 32);
            ck_assert_int_eq(out[0], 0);
            resample_free(state);
        });
}

// Views and masks are whole or not there; what a mask covers is hidden all the same, by a colour where averages of
// squares have no memory.
TEST(masks_hide_without_memory) {
    constexpr int32_t kWidth = 64, kHeight = 48;
    const auto noise_of_picture = noise<uint8_t>(size_t{kWidth} * kHeight, 1);
    const vela_direction corners[] = {{-8, -6}, {9, -5}, {3, 8}};
    const vela_orientation first = {0, 0, 0}, second = {3, 1, 0};
    for (const int32_t style : {VELA_SOLID, VELA_BLOCKS, VELA_BLUR})
        for (const bool is_swept : {false, true})
            oom::each_allocation_fails([&] {
                vela_lens lens = vela_lens_of_fov(VELA_LENS_PINHOLE, kWidth, kHeight, 50);
                lens.distortion[0] = -0.1;
                vela_view *const from = vela_view_make(kWidth, kHeight, &first, &lens), *const to = vela_view_make(
                                                                                            kWidth, kHeight, &second,
                                                                                            &lens);
                vela_mask *const mask = vela_mask_make(corners, 3);
                ck_assert(oom::has_failed() || (from && to && mask));
                auto pixels = noise_of_picture;
                vela_picture picture = {kWidth, kHeight, VELA_GREY, VELA_BT601_FULL, {}};
                vela_picture_lay_out(&picture, pixels.data(), pixels.size());
                const vela_cover cover = {style, 8, {255, 255, 255}};
                const vela_position middle = {31, 23};
                vela_direction ahead = {};
                if (from && to && mask && vela_view_unproject(from, &middle, &ahead)) {
                    ck_assert_int_eq(vela_mask_contains(mask, &ahead), 1);
                    ck_assert_int_eq(vela_mask_hide(mask, from, is_swept ? to : nullptr, &picture, &cover), 0);
                    const uint8_t *const hidden = &pixels[23 * kWidth + 31];
                    const bool is_solid = hidden[0] == 255 && hidden[1] == 255;
                    ck_assert_msg(is_solid || (style != VELA_SOLID && std::abs(hidden[0] - hidden[1]) < 16),
                                  "style %d: %d, %d", style, hidden[0], hidden[1]);
                }
                vela_mask_free(mask);
                vela_view_free(to);
                vela_view_free(from);
            });
}

// Paths, polygons and warped pictures are whole or refused.
TEST(views_refuse_without_memory) {
    constexpr int32_t kSize = 40;
    constexpr vela_direction path[] = {{-40, 0}, {40, 5}};
    constexpr vela_position corners[] = {{1, 1}, {30, 2}, {15, 35}};
    const vela_orientation ahead = {0, 0, 0};
    const vela_lens lens = vela_lens_of_fov(VELA_LENS_FISHEYE, kSize, kSize, 100);
    vela_view *const view = vela_view_make(kSize, kSize, &ahead, &lens);
    const std::vector<uint32_t> pixels(size_t{kSize} * kSize, 5);
    oom::each_allocation_fails([&] {
        std::vector<uint32_t> out(pixels.size());
        const size_t lines = vela_view_project_path(view, path, 2, nullptr, 0);
        const size_t shown = vela_view_unproject_polygon(view, corners, 3, nullptr, 0);
        const int32_t refused = vela_view_warp(view, pixels.data(), pixels.size(), view, 0, out.data(), out.size());
        ck_assert(oom::has_failed() || (lines < SIZE_MAX && shown < SIZE_MAX && refused == 0));
        ck_assert(lines == SIZE_MAX || lines > 0);
        ck_assert(shown == SIZE_MAX || shown >= 3);
        ck_assert_uint_eq(out[500], refused ? 0 : 5);
    });
    vela_view_free(view);
}
