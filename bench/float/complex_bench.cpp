#include "float/complex_kernels.h"
#include "qmpic/FloatPicMemAPI_Base.h"
#include "support.h"

namespace qmpic::bench {
namespace {

float* floats(const Picture& picture) { return reinterpret_cast<float*>(picture.data); }

const bool registered = add_family([] {
    for (const auto& kernel : kExtractFloat)
        add(kernel.name, [=, run = kernel.run, bits = kernel.destination.bits](uint32_t edge) {
            const Picture d(kDestination, edge, kAnyCount, bits), s(kFirst, edge, kAnyCount, 32);
            Job job;
            job.bytes = d.size() + s.size();
            job.ours = [=] {
                run(d.data, kAnyCount, d.stride(), bits, floats(s), nullptr, kAnyCount, s.stride(),
                    edge, d.pixels());
            };
            return job;
        });
    for (const auto& kernel : kExtractToFloat) {
        const uint32_t to = kernel.destination.components, bits = kernel.source.bits;
        add(kernel.name, [=, run = kernel.run](uint32_t edge) {
            const Picture first(kDestination, edge, to, 32), second(kSecond, edge, to, 32),
                s(kFirst, edge, 3, bits);
            const uint32_t unit = to == 3 && bits == 16 ? 2 : 1;
            Job job;
            job.bytes = first.size() + second.size() + s.size();
            job.ours = [=] {
                run(floats(first), floats(second), to, first.stride(), s.data, s.stride() / unit,
                    bits, 3, edge, s.pixels());
            };
            return job;
        });
    }
    using Convert = int(float*, float*, const float*, const float*, uint32_t, uint32_t, uint64_t);
    const auto add_conversion = [](const char* name, Convert* convert) {
        add(name, [=](uint32_t edge) {
            const Picture first(kDestination, edge, 1, 32), second(kFirst, edge, 1, 32);
            Job job;
            job.bytes = 4 * first.size();
            job.ours = [=] {
                for (uint64_t i = 0; i < first.pixels(); ++i)
                    floats(first)[i] = floats(second)[i] = static_cast<float>(i % 628) / 100;
                convert(floats(first), floats(second), floats(first), floats(second), 1, edge,
                        first.pixels());
            };
            return job;
        });
    };
    add_conversion("AmpnPhase_to_RealnImag", CQmFloatPicMemAPI_Base::AmpnPhase_to_RealnImag);
    add_conversion("RealnImag_to_AmpnPhase", CQmFloatPicMemAPI_Base::RealnImag_to_AmpnPhase);
});

}  // namespace
}  // namespace qmpic::bench
