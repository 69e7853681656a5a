#include <memory>

#include "qmpic/LutParam.h"
#include "support.h"

// What is done to display parameters for each picture that is shown: they are copied, compared and
// made anew. A record is 6344 bytes, most of it 192 components; memcpy of two is what it is
// measured against. The size of the picture has no part in it.

namespace qmpic::bench {
namespace {

/// Two records that show alike, of 24 components in 3 groups; the second is copied to.
struct Records {
    SQmLutParam first, second;
    Records() {
        for (SQmLutParam* p : {&first, &second}) {
            p->Init(0, false, 0, 24, 24);
            p->sLutDataSpectral.uiSpectralColorMode = 2;
            p->sLutDataSpectral.GetAllGroupCount(nullptr, true);
        }
    }
};

template <class Call>
void add_call(std::string_view name, uint64_t bytes, Call call) {
    add(name, [=](uint32_t) {
        Job job;
        job.bytes = bytes;
        job.ours = [call, records = std::make_shared<Records>()] { call(*records); };
        return job;
    });
}

const bool registered = add_family([] {
    constexpr uint64_t kTwo = 2 * sizeof(SQmLutParam);
    add_call("SQmLutParam::SQmLutParam", sizeof(SQmLutParam), [](Records&) {
        const SQmLutParam p;
        benchmark::DoNotOptimize(&p);
    });
    add_call("SQmLutParam::SQmLutParam:copy", kTwo, [](Records& r) {
        const SQmLutParam p(r.first);
        benchmark::DoNotOptimize(&p);
    });
    add_call("SQmLutParam::operator=", kTwo, [](Records& r) { r.second = r.first; });
    add_call("SQmLutParam::CompareWith", kTwo,
             [](Records& r) { benchmark::DoNotOptimize(r.second.CompareWith(r.first)); });
    add_call("SQmLutParam::CompatibleCopy", kTwo,
             [](Records& r) { r.second.CompatibleCopy(r.first); });
    add_call("SQmLutParam::IsUnit", sizeof(SQmLutParam),
             [](Records& r) { benchmark::DoNotOptimize(r.first.IsUnit()); });
    add_call("SQmLUTDataSpectral::GetAllGroupCount", 24 * sizeof(SQmCompLutParam), [](Records& r) {
        benchmark::DoNotOptimize(r.first.sLutDataSpectral.GetAllGroupCount(nullptr, true));
    });
    add_call("SQmLUTDataSpectral::GetCompColors", 24 * sizeof(SQmCompLutParam), [](Records& r) {
        unsigned int colors[192];
        r.first.sLutDataSpectral.GetCompColors(colors, false, false);
        benchmark::DoNotOptimize(colors);
    });
});

}  // namespace
}  // namespace qmpic::bench
