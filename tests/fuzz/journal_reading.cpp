#include "fuzz/journal_reading.h"

#include <stdexcept>

#include "fixtures/power_cut_store.h"
#include "journal/change_snapshot.h"
#include "journal/index_file.h"
#include "journal/journal_record.h"
#include "journal/pending_log.h"
#include "journal/snapshot_log.h"
#include "journal/stamp.h"
#include "key_text/key_text_line.h"
#include "platform/hive/hive_walk.h"
#include "registry/value_reference.h"

namespace tolvar::fuzz {

namespace {

void Must(bool isKept, const char* promise)
{
    if (!isKept) {
        throw std::logic_error(promise);
    }
}

void ReadRecords(const std::vector<std::string>& records)
{
    for (const std::string& text : records) {
        const JournalRecord record = ParseRecord(text);
        Must(record.stamp == StampOf(text), "a record's stamp is what stands behind its last separator");
        const JournalRow row = RowOf(ParseRecord(text), "(empty)");
        Must(row.image >= 0 && row.image <= 14, "a row has one of fifteen images");
        Must(!IsStamp(record.stamp) || record.stamp.find('/') == std::string::npos,
             "a stamp names a file of the folder");
    }
}

void ReadIndex(std::span<const std::byte> bytes)
{
    const DecodedIndex index = DecodeIndex(bytes);
    const JournalIndex& lists = index.lists;
    std::size_t size = 0;
    for (const auto* list : {&lists.bookmarkPaths, &lists.journal, &lists.bookmarkTargets}) {
        for (const std::string& text : *list) {
            size += text.size() + 1;
        }
    }
    Must(size <= bytes.size(), "no more is read than there is");
    const JournalIndex again = DecodeIndex(EncodeIndex(lists)).lists;
    Must(again.journal == lists.journal && again.bookmarkPaths == lists.bookmarkPaths &&
             again.bookmarkTargets == lists.bookmarkTargets,
         "what is written is read again");
    ReadRecords(lists.journal);
}

struct Counter {
    std::size_t keys = 0;

    bool OnKey(const KeyNode& /*key*/, unsigned /*depth*/) { return ++keys != 0; }
    void OnValue(const ValueRecord& /*value*/, DataView /*data*/) {}
    void OnValuesEnd(const KeyNode& /*key*/) {}
    void OnFault(const HiveFault& /*fault*/, unsigned /*depth*/) {}
    [[nodiscard]] bool IsStopped() const { return false; }
};

void ReadText(std::string_view text)
{
    const std::size_t size = text.size();
    std::size_t lines = 0;
    for (std::string_view rest = text; const std::optional<std::string_view> line = NextLine(rest);) {
        Must(line->size() <= size && ++lines <= size, "lines end");
        const KeyTextLine parsed = ParseKeyTextLine(*line);
        if (const ValueLine* value = std::get_if<ValueLine>(&parsed)) {
            Must(value->data.size() <= line->size() + 4, "a value is no longer than its line");
            Must(value->name.empty() || LineHoldsValue(value->name, {}), "a name that was read can be written");
        }
    }
}

void ReadSnapshots(std::span<const std::byte> bytes)
{
    fixtures::PowerCutStore store;
    store.Put("/d/20040323.log", {bytes.begin(), bytes.end()});
    SnapshotLog log(store, "/d");
    std::vector<std::string> stamps;
    log.ForEachSeal([&stamps](const SnapshotSeal& seal) { stamps.emplace_back(StampOf(seal.record)); });
    for (const std::string& stamp : stamps) {
        static_cast<void>(log.Find(FrameKind::kChange, stamp));
    }
    SnapshotSeal seal;
    seal.record = "7;0;k;a;0;;;me;20040323120000999";
    const bool isAdded = log.Add(FrameKind::kChange, StampOf(seal.record), {}, seal).has_value();
    Must(isAdded && SnapshotLog(store, "/d").Find(FrameKind::kChange, StampOf(seal.record)),
         "what is added behind anything is found");
}

} // namespace

void ReadJournalFiles(std::span<const std::byte> bytes)
{
    const std::string_view text(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    ReadIndex(bytes);
    const PendingLog::Contents pending = PendingLog::Parse(bytes);
    for (const PendingLog::Entry& entry : pending.entries) {
        ReadRecords({entry.record});
    }
    Must(pending.durable <= pending.end && pending.end <= bytes.size(), "entries lie in the file");
    if (const Result<SnapshotView> snapshot = ParseSnapshot(bytes); snapshot && !snapshot->image.empty()) {
        if (const Result<Hive> image = Hive::FromBytes(snapshot->image, "image")) {
            Counter counter;
            HiveWalk(*image, counter).Run(image->Root());
        }
    }
    ReadSnapshots(bytes);
    ReadText(text);
    ReadRecords({std::string(text)});
    static_cast<void>(ParseValueReference(text));
}

} // namespace tolvar::fuzz
