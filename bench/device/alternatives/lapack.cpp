#include "../device.hpp"
#include <algorithm>
#include <random>
#include <vector>

extern "C" void sgesvd_(const char *job_u, const char *job_vt, const int *m, const int *n, float *a, const int *lda,
                        float *s, float *u, const int *ldu, float *vt, const int *ldvt, float *work,
                        const int *work_size, int *info, size_t job_u_length, size_t job_vt_length);

static void add(int rows, int columns) {
    device::add("sgesvd/" + std::to_string(rows) + "x" + std::to_string(columns), "matrix", 1, [=] {
        std::mt19937 random(1);
        std::uniform_real_distribution<float> unit(-1, 1);
        std::vector<float> matrix(static_cast<size_t>(rows * columns));
        std::generate(matrix.begin(), matrix.end(), [&] { return unit(random); });
        const auto smaller = static_cast<size_t>(columns);
        return [=, a = matrix, s = std::vector<float>(smaller), u = matrix, vt = std::vector<float>(smaller * smaller),
                work = std::vector<float>(8192)]() mutable {
            const int work_size = static_cast<int>(work.size());
            int info;
            std::copy(matrix.begin(), matrix.end(), a.begin());
            sgesvd_("S", "S", &rows, &columns, a.data(), &rows, s.data(), u.data(), &rows, vt.data(), &columns,
                    work.data(), &work_size, &info, 1, 1);
        };
    });
}

static const device::cases registered([] {
    add(24, 24);
    add(100, 6);
});
