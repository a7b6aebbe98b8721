// Draw records built on the host's threads, in item order. The feeding step turns every pair,
// triple or vertex of a render item into a record; at a million vertices that loop alone takes
// longer than drawing on two cores, so it runs in blocks: a first pass counts the records each
// block keeps, a second writes each block's records at its offset.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <vector>

#include "engines/DepthSort.h"
#include "host/HostServices.h"

namespace tv {

enum class Verdict : uint8_t {
    kTake,    // the item gives a record
    kSkip,    // the item gives none
    kReport,  // the item gives none and has something to say (a NaN position)
};

namespace detail {

// fn(b) for b in [0, blocks), on the host's threads when there is a host and more than one.
template <class Fn>
void ForEachBlock(HostServices* host, size_t blocks, const Fn& fn) {
    if (host && blocks > 1) {
        host->iterate(int32_t(blocks), [&fn](int32_t b) {
            fn(size_t(b));
            return PF_Err_NONE;
        });
    } else {
        for (size_t b = 0; b < blocks; ++b) fn(b);
    }
}

// Grows `out` to `size` records. The resize constructs them on this thread; a fresh array's pages
// are first touched on the threads instead, where the kernel's work of handing them out (more
// than the writing, for a large array) is shared.
template <class Record>
void GrowTouchingOnThreads(HostServices* host, std::vector<Record>& out, size_t size) {
    if (size <= out.size()) return;
    const size_t first = out.size();
    out.reserve(size);
    const size_t newBytes = (size - first) * sizeof(Record);
    auto* fresh = reinterpret_cast<volatile unsigned char*>(out.data() + first);
    constexpr size_t kPage = 4096, kJobBytes = kPage * 256;
    if (host && newBytes > kJobBytes)
        ForEachBlock(host, (newBytes + kJobBytes - 1) / kJobBytes, [&](size_t j) {
            const size_t end = std::min(newBytes, (j + 1) * kJobBytes);
            for (size_t at = j * kJobBytes; at < end; at += kPage) fresh[at] = 0;
        });
    out.resize(size);
}

}  // namespace detail

// The depth sort's splitter: runs job(0) .. job(count - 1) on the host's threads.
inline auto HostSplitter(HostServices* host) {
    return [host](int32_t count, const std::function<void(int32_t)>& job) {
        host->iterate(count, [&job](int32_t i) {
            job(i);
            return PF_Err_NONE;
        });
    };
}

// Appends one record per item in [0, count) that `judge` takes, in item order. `judge(i)` must
// be cheap and without side effects: it runs twice per item. `report(i)` runs on this thread,
// in item order, for each item judged kReport; `make(i, record)` fills a default record.
template <class Record, class Judge, class Report, class Make>
void BuildRecords(HostServices* host, size_t count, const Judge& judge, const Report& report,
                  const Make& make, std::vector<Record>& out) {
    constexpr size_t kBlock = 4096;
    const size_t blocks = (count + kBlock - 1) / kBlock;
    auto end = [count](size_t b) { return std::min(count, (b + 1) * kBlock); };
    std::vector<size_t> offsets(blocks + 1, 0);
    std::vector<uint8_t> reports(blocks, 0);
    detail::ForEachBlock(host, blocks, [&](size_t b) {
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
    detail::GrowTouchingOnThreads(host, out, first + offsets[blocks]);
    detail::ForEachBlock(host, blocks, [&](size_t b) {
        Record* record = out.data() + first + offsets[b];
        for (size_t i = b * kBlock; i < end(b); ++i)
            if (judge(i) == Verdict::kTake) make(i, *record++);
    });
}

// The taken items' records far first by `itemKey(item)`, the order the depth sort
// (IntroSortFarFirst) leaves the records in, without moving whole records, handed to
// `sink(records)` in batches of at most `batch` (0: one batch) in that order; the first error
// the sink returns ends it. The keys are sorted with their item numbers by the same introsort
// (whose every step depends on the keys alone, so the permutation is the same as sorting the
// records), and each batch's records are then made in that order into `scratch`.
template <class Record, class Judge, class Report, class Make, class ItemKey, class Sink>
PF_Err SortedRecordBatches(HostServices* host, size_t count, const Judge& judge,
                           const Report& report, const Make& make, const ItemKey& itemKey,
                           size_t batch, std::vector<Record>& scratch, const Sink& sink) {
    std::vector<uint32_t> taken;
    BuildRecords(
        host, count, judge, report, [](size_t i, uint32_t& item) { item = uint32_t(i); }, taken);
    // Packed: 12 bytes a record rather than 16, for arrays of millions.
#pragma pack(push, 4)
    struct Keyed {
        double key = 0;
        uint32_t item = 0;
    };
#pragma pack(pop)
    static_assert(sizeof(Keyed) == 12);
    constexpr size_t kBlock = 4096;
    auto blocksOf = [](size_t n) { return (n + kBlock - 1) / kBlock; };
    std::vector<Keyed> keyed;
    detail::GrowTouchingOnThreads(host, keyed, taken.size());
    detail::ForEachBlock(host, blocksOf(taken.size()), [&](size_t b) {
        for (size_t k = b * kBlock; k < std::min(taken.size(), (b + 1) * kBlock); ++k)
            keyed[k] = Keyed{itemKey(taken[k]), taken[k]};
    });
    std::vector<uint32_t>().swap(taken);
    auto keyOf = [](const Keyed& e) { return e.key; };
    if (host)
        IntroSortFarFirst(keyed.data(), keyed.size(), keyOf, HostSplitter(host));
    else
        IntroSortFarFirst(keyed.data(), keyed.size(), keyOf);
    if (batch == 0) batch = std::max<size_t>(keyed.size(), 1);
    for (size_t first = 0; first < keyed.size(); first += batch) {
        const size_t n = std::min(batch, keyed.size() - first);
        scratch.clear();
        detail::GrowTouchingOnThreads(host, scratch, n);
        detail::ForEachBlock(host, blocksOf(n), [&](size_t b) {
            for (size_t k = b * kBlock; k < std::min(n, (b + 1) * kBlock); ++k)
                make(keyed[first + k].item, scratch[k]);
        });
        if (const PF_Err err = sink(scratch)) return err;
    }
    return PF_Err_NONE;
}

// As BuildRecords into an empty `out`, then far records first by `key(record)` (see
// SortedRecordBatches; each taken item's record is made once to read its key), all of them in
// `out`.
template <class Record, class Judge, class Report, class Make, class Key>
void BuildSortedRecords(HostServices* host, size_t count, const Judge& judge, const Report& report,
                        const Make& make, const Key& key, std::vector<Record>& out) {
    out.clear();
    auto itemKey = [&](size_t i) {
        Record record;
        make(i, record);
        return key(record);
    };
    SortedRecordBatches(host, count, judge, report, make, itemKey, 0, out,
                        [](std::vector<Record>&) { return PF_Err_NONE; });
}

}  // namespace tv
