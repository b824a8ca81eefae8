// Walks a whole hive with our own reader: walk_tolvar HIVE.

#include <cstdio>
#include <cstdlib>

#include "platform/hive/hive.h"
#include "platform/hive/hive_walk.h"
#include "walk_tally.h"

namespace tolvar::bench {

namespace {

class TallyVisitor {
public:
    explicit TallyVisitor(const Hive& hive) : m_hive(hive) {}

    bool OnKey(const KeyNode& key, unsigned /*depth*/)
    {
        m_tally.AddKey({key.name.data, key.name.bytes});
        return true;
    }

    void OnValue(const ValueRecord& value, DataView& data)
    {
        m_tally.AddValue({value.name.data, value.name.bytes}, value.type);
        Checked<std::span<const std::byte>> piece = m_hive.NextPiece(data);
        if (!piece || piece->empty()) {
            m_isFaulty = m_isFaulty || !piece;
            return;
        }
        const std::byte first = piece->front();
        std::byte last = piece->back();
        while (data.IsSegmented() && piece && !piece->empty()) {
            last = piece->back();
            piece = m_hive.NextPiece(data);
        }
        m_isFaulty = m_isFaulty || !piece;
        m_tally.AddData(value.size, first, last);
    }

    void OnValuesEnd(const KeyNode& /*key*/) {}
    void OnFault(const HiveFault& fault, unsigned /*depth*/)
    {
        std::fprintf(stderr, "%s\n", Describe(m_hive.ToError(fault)).c_str());
        m_isFaulty = true;
    }
    [[nodiscard]] bool IsStopped() const { return m_isFaulty; }

    [[nodiscard]] const WalkTally& Tally() const { return m_tally; }

private:
    const Hive& m_hive;
    WalkTally m_tally;
    bool m_isFaulty = false;
};

int Walk(const char* file)
{
    const Result<Hive> hive = Hive::Open(file);
    if (!hive) {
        std::fprintf(stderr, "%s\n", Describe(hive.error()).c_str());
        return EXIT_FAILURE;
    }
    TallyVisitor visitor(*hive);
    HiveWalk(*hive, visitor).Run(hive->Root());
    if (visitor.IsStopped()) {
        return EXIT_FAILURE;
    }
    visitor.Tally().Print();
    return EXIT_SUCCESS;
}

} // namespace

} // namespace tolvar::bench

int main(int argc, char** argv)
{
    if (argc != 2) {
        std::fprintf(stderr, "usage: walk_tolvar HIVE\n");
        return EXIT_FAILURE;
    }
    return tolvar::bench::Walk(argv[1]);
}
