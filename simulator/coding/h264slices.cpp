// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "simulator/coding/slices_p.h"

// Names and order of the fields are those of ITU-T H.264, clause 7.3.

namespace vantrasim {

namespace {

constexpr int kSlice = 1;
constexpr int kIdrSlice = 5;
constexpr int kSps = 7;
constexpr int kPps = 8;
constexpr std::uint32_t kTypeI = 2;
constexpr std::uint32_t kFilterOff = 1; // disable_deblocking_filter_idc
constexpr int kBlock = 16;

int typeOf(const Bytes &unit)
{
    return unit.empty() ? 0 : unit[0] & 0x1F;
}

/// What the parameter sets say about slice headers.
struct Sets
{
    int frameNumBits = 0;
    int orderBits = 0; ///< 0: the order of pictures is not written
    std::uint32_t id = 0;
    bool filterControl = false;
};

bool readSps(const Bytes &unit, Sets *sets)
{
    BitReader in(unit, 1);
    const std::uint32_t profile = in.bits(8);
    in.skip(16);
    in.ue(); // seq_parameter_set_id
    if (profile >= 100) {
        const std::uint32_t chroma = in.ue();
        in.ue(); // bit_depth_luma_minus8
        in.ue(); // bit_depth_chroma_minus8
        in.skip(1);
        if (chroma != 1 || in.flag()) // seq_scaling_matrix_present_flag
            return false;
    }
    sets->frameNumBits = static_cast<int>(in.ue()) + 4;
    const std::uint32_t orderType = in.ue();
    if (orderType == 0)
        sets->orderBits = static_cast<int>(in.ue()) + 4;
    else if (orderType != 2)
        return false;
    in.ue(); // max_num_ref_frames
    in.skip(1);
    in.ue();                            // pic_width_in_mbs_minus1
    in.ue();                            // pic_height_in_map_units_minus1
    const bool wholeFrames = in.flag(); // frame_mbs_only_flag
    return in.isOk() && wholeFrames && sets->frameNumBits >= 4 && sets->frameNumBits <= 16 &&
           (orderType == 2 || (sets->orderBits >= 4 && sets->orderBits <= 16));
}

bool readPps(const Bytes &unit, Sets *sets)
{
    BitReader in(unit, 1);
    sets->id = in.ue();
    in.ue(); // seq_parameter_set_id
    const bool cabac = in.flag();
    const bool orderPresent = in.flag(); // bottom_field_pic_order_in_frame_present_flag
    const std::uint32_t groups = in.ue();
    in.ue(); // num_ref_idx_l0_default_active_minus1
    in.ue(); // num_ref_idx_l1_default_active_minus1
    const bool weighted = in.flag();
    in.skip(2);
    in.se(); // pic_init_qp_minus26
    in.se(); // pic_init_qs_minus26
    in.se(); // chroma_qp_index_offset
    sets->filterControl = in.flag();
    in.skip(1);
    const bool redundant = in.flag();
    return in.isOk() && cabac && !orderPresent && groups == 0 && !weighted && !redundant;
}

class H264Joiner final : public SliceJoiner
{
public:
    bool init(const Bytes &parameterSets, int width, int stripHeight);
    bool takeLower(const Bytes &coded, LowerSlice *slice) const override;
    bool takeUpper(const Bytes &coded, UpperSlice *slice) const override;
    bool makeUpper(const Bytes &, int, UpperSlice *) const override { return false; }

protected:
    void writeUpperHeader(const UpperSlice &upper, const LowerSlice &lower,
                          BitWriter *out) const override;

private:
    struct Header
    {
        std::uint32_t type = 0;
        std::int32_t qpDelta = 0;
        std::size_t orderBegin = 0;
        std::size_t orderEnd = 0;
        std::size_t markingBegin = 0;
        std::size_t markingEnd = 0;
        std::size_t end = 0; ///< before the alignment
    };
    bool readHeader(const Bytes &unit, Header *header) const;

    Sets m_sets;
    std::uint32_t blockAt(int line) const
    {
        return static_cast<std::uint32_t>(line / kBlock * m_columns);
    }

    int m_columns = 0;
    int m_stripHeight = 0;
};

bool H264Joiner::init(const Bytes &parameterSets, int width, int stripHeight)
{
    bool hasSps = false;
    bool hasPps = false;
    for (const Bytes &unit : splitUnits(parameterSets.data(), parameterSets.size())) {
        if (typeOf(unit) == kSps)
            hasSps = readSps(unit, &m_sets);
        else if (typeOf(unit) == kPps)
            hasPps = readPps(unit, &m_sets);
        else
            continue; // the encoder introduces itself
        appendUnit(unit, &m_parameterSets);
    }
    m_columns = (width + kBlock - 1) / kBlock;
    m_stripHeight = stripHeight;
    return hasSps && hasPps && m_sets.filterControl;
}

bool H264Joiner::readHeader(const Bytes &unit, Header *header) const
{
    BitReader in(unit, 1);
    const bool idr = typeOf(unit) == kIdrSlice;
    const bool first = in.ue() == 0;
    header->type = in.ue() % 5;
    const bool intra = header->type == kTypeI;
    in.ue(); // pic_parameter_set_id
    header->orderBegin = in.position();
    in.skip(m_sets.frameNumBits);
    if (idr)
        in.ue(); // idr_pic_id
    in.skip(m_sets.orderBits);
    header->orderEnd = in.position();
    if (!intra) {
        if (in.flag()) // num_ref_idx_active_override_flag
            in.ue();
        if (in.flag()) { // ref_pic_list_modification_flag_l0
            while (in.isOk() && in.ue() != 3)
                in.ue();
        }
    }
    header->markingBegin = in.position();
    if (idr)
        in.skip(2);
    else if ((unit[0] & 0x60) != 0 && in.flag())
        return false; // adaptive marking
    header->markingEnd = in.position();
    if (!intra)
        in.ue(); // cabac_init_idc
    header->qpDelta = in.se();
    const bool unfiltered = in.ue() == kFilterOff;
    header->end = in.position();
    return in.isOk() && first && unfiltered && (intra || header->type == 0);
}

bool H264Joiner::takeLower(const Bytes &coded, LowerSlice *slice) const
{
    bool taken = false;
    for (Bytes &unit : splitUnits(coded.data(), coded.size())) {
        if (typeOf(unit) != kSlice && typeOf(unit) != kIdrSlice)
            continue;
        Header header;
        if (taken || !readHeader(unit, &header))
            return false;
        taken = true;
        slice->key = typeOf(unit) == kIdrSlice;
        slice->orderBegin = header.orderBegin;
        slice->orderEnd = header.orderEnd;
        slice->markingBegin = header.markingBegin;
        slice->markingEnd = header.markingEnd;
        BitWriter out;
        out.bits(unit[0], 8);
        out.ue(blockAt(m_stripHeight));
        out.ue(header.type); // not the values that promise one type for the whole picture
        out.ue(m_sets.id);
        out.copy(unit, header.orderBegin, header.end);
        out.alignWithOnes();
        Bytes made = out.bytes();
        made.insert(made.end(), unit.begin() + std::ptrdiff_t((header.end + 7) / 8), unit.end());
        appendUnit(made, &slice->coded);
        slice->unit = std::move(unit);
    }
    return taken;
}

bool H264Joiner::takeUpper(const Bytes &coded, UpperSlice *slice) const
{
    for (const Bytes &unit : splitUnits(coded.data(), coded.size())) {
        if (typeOf(unit) != kIdrSlice)
            continue;
        Header header;
        if (!readHeader(unit, &header) || header.type != kTypeI)
            return false;
        slice->qpDelta = header.qpDelta;
        slice->payload.assign(unit.begin() + std::ptrdiff_t((header.end + 7) / 8), unit.end());
        return true;
    }
    return false;
}

void H264Joiner::writeUpperHeader(const UpperSlice &upper, const LowerSlice &lower,
                                  BitWriter *out) const
{
    out->bits(lower.unit[0], 8);
    out->ue(blockAt(upper.top)); // first_mb_in_slice
    out->ue(kTypeI);
    out->ue(m_sets.id);
    out->copy(lower.unit, lower.orderBegin, lower.orderEnd);
    out->copy(lower.unit, lower.markingBegin, lower.markingEnd);
    out->se(upper.qpDelta);
    out->ue(kFilterOff);
    out->alignWithOnes();
}

} // namespace

std::unique_ptr<SliceJoiner> createH264Joiner(const Bytes &parameterSets, int width,
                                              int stripHeight)
{
    auto joiner = std::make_unique<H264Joiner>();
    if (!joiner->init(parameterSets, width, stripHeight))
        return nullptr;
    return joiner;
}

} // namespace vantrasim
