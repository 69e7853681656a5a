#include "float/float_kernels.h"
#include "float/floats.h"
#include "qmpic/FloatPicMemAPI_Base.h"
#include "support.h"

namespace qmpic::bench {
namespace {

using Api = CQmFloatPicMemAPI_Base;

using Call = std::function<void(const Picture& d, const Picture& a, const Picture& b)>;

/// `moved`: how many floats a sample costs, read and written.
void add(std::string_view name, uint32_t components, double moved, const Call& ours,
         const Call& peer = nullptr) {
    bench::add(name, [=](uint32_t edge) {
        const Picture d = picture(kDestination, edge, components),
                      a = picture(kFirst, edge, components), b = picture(kSecond, edge, components);
        Job job;
        job.bytes = static_cast<uint64_t>(static_cast<double>(d.size()) * moved);
        job.ours = [=] { ours(d, a, b); };
        if (peer) job.peer = [=] { peer(d, a, b); };
        return job;
    });
}

#ifdef QMPIC_OPENCV
cv::Mat mat(const Picture& p) { return p.mat(CV_32F); }
#define CALL(...)                                                                                  \
    [=]([[maybe_unused]] const Picture& d, [[maybe_unused]] const Picture& a,                      \
        [[maybe_unused]] const Picture& b) { __VA_ARGS__; }
#define PEER(...) CALL([[maybe_unused]] cv::Mat to = mat(d); __VA_ARGS__)
#else
#define CALL(...)                                                                                  \
    [=]([[maybe_unused]] const Picture& d, [[maybe_unused]] const Picture& a,                      \
        [[maybe_unused]] const Picture& b) { __VA_ARGS__; }
#define PEER(...) nullptr
#endif

// clang-format off
#define D floats(d), d.stride()
#define A floats(a), a.stride()
#define B floats(b), b.stride()
#define REST(n) n, d.edge, d.pixels()
// clang-format on

void add_elementwise() {
    add("float_Abs", 1, 2, CALL(Api::Abs(D, A, REST(1))),
        PEER(cv::absdiff(mat(a), cv::Scalar::all(0), to)));
    add("float_AddFloatnUint8", 1, 2.25, CALL(Api::AddFloatnUint8(D, A, b.data, b.edge, REST(1))),
        PEER(cv::add(mat(a), cv::Mat(mat(d).size(), CV_8U, b.data), to, cv::noArray(), CV_32F)));
    add("float_AddFloatnUint16", 1, 2.5,
        CALL(Api::AddFloatnUint16(D, A, reinterpret_cast<uint16_t*>(b.data), 2 * b.edge, REST(1))),
        PEER(cv::add(mat(a), cv::Mat(mat(d).size(), CV_16U, b.data), to, cv::noArray(), CV_32F)));
    add("float_DivConstnFloat", 1, 2, CALL(Api::DivConstnFloat(D, 3.0f, A, REST(1))),
        PEER(cv::divide(3.0, mat(a), to)));
    add("float_DivFloatnFloat", 1, 3, CALL(Api::DivFloatnFloat(D, A, B, REST(1))),
        PEER(cv::divide(mat(a), mat(b), to)));
    add("float_DivFloatnFloat:in_place", 1, 3, CALL(Api::DivFloatnFloat(A, A, B, REST(1))),
        PEER(cv::Mat into = mat(a); cv::divide(into, mat(b), into)));
    add("float_SubConstnFloat", 1, 2, CALL(Api::SubConstnFloat(D, 3.0f, A, REST(1))),
        PEER(cv::subtract(cv::Scalar::all(3), mat(a), to)));
    add("float_MinFloatnConst", 1, 2, CALL(Api::MinFloatnConst(D, A, 99.0f, REST(1))),
        PEER(cv::min(mat(a), 99.0, to)));
    add("float_MaxFloatnConst:in_place", 1, 2,
        CALL(Api::MaxFloatnConst(D, floats(d), d.stride(), 99.0f, REST(1))),
        PEER(cv::max(to, 99.0, to)));
    add("float_MinFloatnFloat", 1, 3, CALL(Api::MinFloatnFloat(D, A, B, REST(1))),
        PEER(cv::min(mat(a), mat(b), to)));
    add("float_MaxFloatnFloat", 1, 3, CALL(Api::MaxFloatnFloat(D, A, B, REST(1))),
        PEER(cv::max(mat(a), mat(b), to)));
    // The peer's logarithms and powers are approximations.
    add("float_Log:of_two", 1, 3, CALL(Api::Log(D, A, B, REST(1))));
    add("float_Log:natural", 1, 2, CALL(Api::Log(D, -1.0f, A, REST(1))), PEER(cv::log(mat(a), to)));
    add("float_Pow:of_two", 1, 3, CALL(Api::Pow(D, A, B, REST(1))));
    add("float_Pow:by_constant", 1, 2, CALL(Api::Pow(D, floats(a), 0.3f, a.stride(), REST(1))),
        PEER(cv::pow(mat(a), 0.3, to)));
    add("float_Inversion", 1, 2, CALL(Api::Inversion(floats(a), a.edge, a.edge, 1)),
        PEER(cv::Mat into = mat(a); cv::divide(1.0, into, into)));
    add("float_Logarithm", 1, 2, CALL(Api::Logarithm(floats(d), d.edge, d.edge, 1)));
    add("float_MultiplybyFloat", 1, 2,
        CALL(Api::MultiplybyFloat(floats(a), 1.0f, a.edge, a.edge, 1)),
        PEER(cv::Mat into = mat(a); cv::multiply(into, 1.0 + 1e-9, into)));
    add("float_MultiplybyFloatSSE_parallel", 1, 2,
        CALL(Api::MultiplybyFloatSSE_parallel(floats(a), 1.0f, a.edge, a.edge, 1)),
        PEER(cv::Mat into = mat(a); cv::multiply(into, 1.0 + 1e-9, into)));
    static const std::vector<float> none(32, 0.0f), one(32, 1.0f);
    for (const uint32_t n : {1u, 2u, 3u})
        add("float_Normalize:" + std::to_string(n), n, 2,
            CALL(
                Api::Normalize(floats(a), n * a.edge, n, a.edge, a.edge, none.data(), one.data())));
    for (const uint32_t n : {1u, 2u, 3u})
        add("float_MaskFloatWithGray:" + std::to_string(n), n, 2.25,
            CALL(Api::MaskFloatWithGray(floats(d), n, floats(a), n, b.data, d.edge, d.pixels(),
                                        255)));
}

void add_fills() {
    static const float pixel[] = {1, 2, 3, 4};
    for (const uint32_t n : {1u, 3u})
        add("set_Nxfloat:of_" + std::to_string(n), n, 1,
            CALL(set_Nxfloat(floats(d), n, d.stride(), pixel, d.edge, d.pixels())),
            PEER(to.setTo(cv::Scalar(1, 2, 3, 4))));
    add("set_mono_float", 1, 1, CALL(set_mono_float(floats(d), d.edge, d.edge, 1.5f)),
        PEER(to.setTo(1.5)));
    add("set_mono_float:0", 1, 1, CALL(set_mono_float(floats(d), d.edge, d.edge, 0.0f)),
        PEER(to.setTo(0.0)));
    add("set_mono_float_sse", 1, 1,
        CALL(set_mono_float_sse(reinterpret_cast<uint32_t*>(d.data), d.edge, d.edge, 1.5f)),
        PEER(to.setTo(1.5)));
    add("setcomponent_Nxfloat", 3, 2,
        CALL(setcomponent_Nxfloat(floats(d), 3, d.stride(), 1, 1.5f, d.edge, d.pixels())));
}

void add_statistics() {
    static float least[4], greatest[4], means[4];
    for (const uint32_t n : {1u, 3u}) {
        const std::string of = ":of_" + std::to_string(n);
        add("float_GetFloatMinMax" + of, n, 1,
            CALL(Api::GetFloatMinMax(A, REST(n), least, greatest)),
            PEER(double from; double up; cv::minMaxIdx(mat(a), &from, &up)));
        add("float_GetFloatMinMaxInComps" + of, n, 1,
            CALL(Api::GetFloatMinMaxInComps(A, REST(n), least, greatest)),
            PEER(double from; double up; cv::minMaxIdx(mat(a), &from, &up)));
        add("float_Mean" + of, n, 1, CALL(Api::Mean(A, REST(n))), PEER(cv::mean(mat(a))));
        add("float_MeanComp" + of, n, 1, CALL(Api::MeanComp(means, floats(a), a.edge, a.edge, n)),
            PEER(cv::mean(mat(a))));
        add("float_MinComp" + of, n, 1, CALL(Api::MinComp(means, floats(a), a.edge, a.edge, n)),
            PEER(double from; double up; cv::minMaxIdx(mat(a), &from, &up)));
        add("float_MaxComp" + of, n, 1, CALL(Api::MaxComp(means, floats(a), a.edge, a.edge, n)),
            PEER(double from; double up; cv::minMaxIdx(mat(a), &from, &up)));
        add("float_MedianComp" + of, n, 1,
            CALL(Api::MedianComp(means, floats(a), a.edge, a.edge, n)));
        add("float_DeviationComp" + of, n, 1,
            CALL(Api::DeviationComp(least, means, floats(a), a.edge, a.edge, n)),
            PEER(cv::Mat mean; cv::Mat deviation; cv::meanStdDev(mat(a), mean, deviation)));
    }
}

void add_conversion(uint32_t bits, [[maybe_unused]] int depth) {
    bench::add("float_ConvertPictureToFloat:from_" + std::to_string(bits), [=](uint32_t edge) {
        const Picture d = picture(kDestination, edge, 1), s(kFirst, edge, 1, bits);
        Job job;
        job.bytes = d.size() + s.size();
        job.ours = [=] {
            Api::ConvertPictureToFloat(floats(d), d.stride(), s.data, s.stride(), bits, 1, edge,
                                       edge);
        };
#ifdef QMPIC_OPENCV
        job.peer = [=, into = mat(d), from = s.mat(depth)]() mutable {
            from.convertTo(into, CV_32F);
        };
#endif
        return job;
    });
}

void add_moves() {
    add("copyfloat", 1, 2, CALL(copyfloat(D, A, REST(1))), PEER(mat(a).copyTo(to)));
    for (const uint32_t n : {1u, 3u, 4u})
        bench::add("copycomponent_Nxfloat_to_Nxfloat:of_" + std::to_string(n), [=](uint32_t edge) {
            const Picture d = picture(kDestination, edge, 1), s = picture(kFirst, edge, n);
            Job job;
            job.bytes = d.size() + s.size();
            job.ours = [=] {
                copycomponent_Nxfloat_to_Nxfloat(floats(d), 1, d.stride(), 0, floats(s), n,
                                                 s.stride(), n - 1, edge, s.pixels());
            };
#ifdef QMPIC_OPENCV
            job.peer = [=, into = mat(d), from = mat(s)]() mutable {
                cv::extractChannel(from, into, static_cast<int>(n) - 1);
            };
#endif
            return job;
        });
    add_conversion(8, CV_8U);
    add_conversion(16, CV_16U);
    add_conversion(32, CV_32S);  // signed, the peer's only one
}

const bool registered = add_family([] {
    add_elementwise();
    add_fills();
    add_statistics();
    add_moves();
});

}  // namespace
}  // namespace qmpic::bench
