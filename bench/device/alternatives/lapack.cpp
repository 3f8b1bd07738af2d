#include "../device.hpp"
#include <algorithm>
#include <random>
#include <vector>

extern "C" void sgesvd_(const char *job_u, const char *job_vt, const int *m, const int *n, float *a, const int *lda,
                        float *s, float *u, const int *ldu, float *vt, const int *ldvt, float *work, const int *room,
                        int *info, size_t job_u_length, size_t job_vt_length);

static void add(int rows, int columns) {
    device::add("sgesvd/" + std::to_string(rows) + "x" + std::to_string(columns), "matrix", 1, [=] {
        std::mt19937 random(1);
        std::uniform_real_distribution<float> unit(-1, 1);
        std::vector<float> matrix(static_cast<size_t>(rows * columns));
        std::generate(matrix.begin(), matrix.end(), [&] { return unit(random); });
        return [=](unsigned times) {
            const auto smaller = static_cast<size_t>(columns);
            std::vector<float> a(matrix.size()), s(smaller), u(matrix.size()), vt(smaller * smaller), work(8192);
            const int room = static_cast<int>(work.size());
            while (times--) {
                int info;
                std::copy(matrix.begin(), matrix.end(), a.begin());
                sgesvd_("S", "S", &rows, &columns, a.data(), &rows, s.data(), u.data(), &rows, vt.data(), &columns,
                        work.data(), &room, &info, 1, 1);
            }
        };
    });
}

static const device::cases registered([] {
    add(24, 24);
    add(100, 6);
});
