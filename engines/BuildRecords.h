// Draw records built on the host's threads, in item order. The feeding step turns every pair,
// triple or vertex of a render item into a record; at a million vertices that loop alone takes
// longer than drawing on two cores, so it runs in blocks: a first pass counts the records each
// block keeps, a second writes each block's records at its offset.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "host/HostServices.h"

namespace tv {

enum class Verdict : uint8_t {
    kTake,    // the item gives a record
    kSkip,    // the item gives none
    kReport,  // the item gives none and has something to say (a NaN position)
};

// Appends one record per item in [0, count) that `judge` takes, in item order. `judge(i)` must
// be cheap and without side effects: it runs twice per item. `report(i)` runs on this thread,
// in item order, for each item judged kReport; `make(i, record)` fills a default record.
template <class Record, class Judge, class Report, class Make>
void BuildRecords(HostServices* host, size_t count, const Judge& judge, const Report& report,
                  const Make& make, std::vector<Record>& out) {
    constexpr size_t kBlock = 4096;
    const size_t blocks = (count + kBlock - 1) / kBlock;
    auto forBlocks = [&](const auto& fn) {
        if (host && blocks > 1) {
            host->iterate(int32_t(blocks), [&fn](int32_t b) {
                fn(size_t(b));
                return PF_Err_NONE;
            });
        } else {
            for (size_t b = 0; b < blocks; ++b) fn(b);
        }
    };
    auto end = [count](size_t b) { return std::min(count, (b + 1) * kBlock); };
    std::vector<size_t> offsets(blocks + 1, 0);
    std::vector<uint8_t> reports(blocks, 0);
    forBlocks([&](size_t b) {
        size_t taken = 0;
        bool anyReport = false;
        for (size_t i = b * kBlock; i < end(b); ++i) {
            const Verdict v = judge(i);
            taken += v == Verdict::kTake;
            anyReport |= v == Verdict::kReport;
        }
        offsets[b + 1] = taken;
        reports[b] = anyReport;
    });
    for (size_t b = 0; b < blocks; ++b) {
        if (reports[b])
            for (size_t i = b * kBlock; i < end(b); ++i)
                if (judge(i) == Verdict::kReport) report(i);
        offsets[b + 1] += offsets[b];
    }
    const size_t first = out.size();
    // The resize below constructs the records on this thread; a fresh array's pages are first
    // touched here on the threads instead, where the kernel's work of handing them out (more
    // than the writing, for a large array) is shared.
    out.reserve(first + offsets[blocks]);
    const size_t newBytes = offsets[blocks] * sizeof(Record);
    auto* fresh = reinterpret_cast<volatile unsigned char*>(out.data() + first);
    constexpr size_t kPage = 4096, kPagesPerJob = 256;
    const size_t jobs = (newBytes / kPage + kPagesPerJob) / kPagesPerJob;
    if (host && newBytes > kPage * kPagesPerJob)
        host->iterate(int32_t(jobs), [&](int32_t j) {
            const size_t end = std::min(newBytes, (size_t(j) + 1) * kPage * kPagesPerJob);
            for (size_t at = size_t(j) * kPage * kPagesPerJob; at < end; at += kPage) fresh[at] = 0;
            return PF_Err_NONE;
        });
    out.resize(first + offsets[blocks]);
    forBlocks([&](size_t b) {
        Record* record = out.data() + first + offsets[b];
        for (size_t i = b * kBlock; i < end(b); ++i)
            if (judge(i) == Verdict::kTake) make(i, *record++);
    });
}

}  // namespace tv
