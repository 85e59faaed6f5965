// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "simulator/coding/flatslice.h"
#include "simulator/coding/slices_p.h"

#include <algorithm>

// Names and order of the fields are those of ITU-T H.265, clause 7.3.

namespace vantrasim {

namespace {

constexpr int kFirstIrap = 16;
constexpr int kLastIrap = 23;
constexpr int kIdrWithLeading = 19;
constexpr int kIdr = 20;
constexpr int kVps = 32;
constexpr int kSps = 33;
constexpr int kPps = 34;
constexpr std::uint32_t kTypeI = 2;
constexpr std::uint32_t kLongestSide = 8192; // pixels
constexpr int kProfileTierLevelBits = 96;    // with one temporal layer

int typeOf(const Bytes &unit)
{
    return unit.size() < 2 ? -1 : (unit[0] >> 1) & 0x3F;
}

bool isIrap(const Bytes &unit)
{
    return typeOf(unit) >= kFirstIrap && typeOf(unit) <= kLastIrap;
}

bool isIdr(const Bytes &unit)
{
    return typeOf(unit) == kIdrWithLeading || typeOf(unit) == kIdr;
}

/// What the parameter sets say about slice headers.
struct Sets
{
    int orderBits = 0;
    int addressBits = 0;
    int blockSize = 0; ///< of a coding tree unit
    std::uint32_t id = 0;
    bool dependent = false; ///< dependent_slice_segments_enabled_flag
    bool cabacInit = false; ///< cabac_init_present_flag
    bool flat = false;      ///< encodeFlatSlice() can be used
    int startQp = 0;        ///< of slices that do not change it
};

bool readSps(const Bytes &unit, Sets *sets)
{
    BitReader in(unit, 2);
    in.skip(4); // sps_video_parameter_set_id
    const std::uint32_t subLayers = in.bits(3);
    in.skip(1 + kProfileTierLevelBits);
    in.ue(); // sps_seq_parameter_set_id
    const std::uint32_t chroma = in.ue();
    const std::uint32_t width = in.ue();
    const std::uint32_t height = in.ue();
    if (in.flag()) { // conformance_window_flag
        for (int side = 0; side < 4; ++side)
            in.ue();
    }
    in.ue(); // bit_depth_luma_minus8
    in.ue(); // bit_depth_chroma_minus8
    sets->orderBits = static_cast<int>(in.ue()) + 4;
    in.skip(1);
    in.ue(); // sps_max_dec_pic_buffering_minus1
    in.ue(); // sps_max_num_reorder_pics
    in.ue(); // sps_max_latency_increase_plus1
    const std::uint32_t smallest = in.ue() + 3;
    const std::uint32_t block = smallest + in.ue();
    const std::uint32_t smallestTransform = in.ue() + 2;
    const std::uint32_t largestTransform = smallestTransform + in.ue();
    in.ue();                         // max_transform_hierarchy_depth_inter
    const bool split = in.ue() != 0; // max_transform_hierarchy_depth_intra
    sets->flat = smallest == block && largestTransform == block && !split;
    const bool scaling = in.flag();
    in.skip(1); // amp_enabled_flag
    const bool offsetFilter = in.flag();
    const bool pcm = in.flag();
    const std::uint32_t knownSets = in.ue(); // num_short_term_ref_pic_sets
    const bool longTerm = in.flag();
    const bool temporal = in.flag(); // sps_temporal_mvp_enabled_flag
    if (!in.isOk() || subLayers != 0 || chroma != 1 || block > 6 || scaling || offsetFilter ||
        pcm || knownSets != 0 || longTerm || temporal || sets->orderBits < 4 ||
        sets->orderBits > 16 || width > kLongestSide || height > kLongestSide)
        return false;
    sets->blockSize = 1 << block;
    const std::uint32_t mask = (1U << block) - 1;
    const std::uint32_t blocks = ((width + mask) >> block) * ((height + mask) >> block);
    while ((1U << sets->addressBits) < blocks)
        ++sets->addressBits;
    return true;
}

bool readPps(const Bytes &unit, Sets *sets)
{
    BitReader in(unit, 2);
    sets->id = in.ue();
    in.ue(); // pps_seq_parameter_set_id
    sets->dependent = in.flag();
    const bool output = in.flag();
    const std::uint32_t extra = in.bits(3);
    in.skip(1); // sign_data_hiding_enabled_flag
    sets->cabacInit = in.flag();
    in.ue(); // num_ref_idx_l0_default_active_minus1
    in.ue(); // num_ref_idx_l1_default_active_minus1
    sets->startQp = 26 + in.se();
    in.skip(2);                       // constrained_intra_pred_flag, transform_skip_enabled_flag
    const bool qpChanges = in.flag(); // cu_qp_delta_enabled_flag
    if (qpChanges)
        in.ue();
    in.se(); // pps_cb_qp_offset
    in.se(); // pps_cr_qp_offset
    const bool chromaOffsets = in.flag();
    const bool weighted = in.flag();
    in.skip(1);                      // weighted_bipred_flag
    const bool lossless = in.flag(); // transquant_bypass_enabled_flag
    sets->flat = sets->flat && !qpChanges && !lossless;
    const bool tiles = in.flag();
    const bool wavefront = in.flag();
    in.skip(1); // pps_loop_filter_across_slices_enabled_flag
    const bool filterControl = in.flag();
    const bool filterOverride = filterControl && in.flag();
    const bool filterOff = filterControl && in.flag();
    const bool scaling = !filterOff || in.flag();
    const bool listsModified = in.flag();
    in.ue(); // log2_parallel_merge_level_minus2
    const bool extension = in.flag();
    return in.isOk() && !output && extra == 0 && !chromaOffsets && !weighted && !tiles &&
           !wavefront && !filterOverride && filterOff && !scaling && !listsModified && !extension;
}

/// The coded blocks behind a header that `in` has read to its end. The alignment takes at least one
/// bit.
Bytes::const_iterator payloadOf(const Bytes &unit, const BitReader &in)
{
    return unit.begin() + std::min(static_cast<std::ptrdiff_t>(in.position() / 8 + 1),
                                   static_cast<std::ptrdiff_t>(unit.size()));
}

class H265Joiner final : public SliceJoiner
{
public:
    bool init(const Bytes &parameterSets, int width, int stripHeight);
    bool takeLower(const Bytes &coded, LowerSlice *slice) const override;
    bool takeUpper(const Bytes &coded, UpperSlice *slice) const override;
    bool makeUpper(const Bytes &luma, int lines, UpperSlice *slice) const override;

protected:
    void writeUpperHeader(const UpperSlice &upper, const LowerSlice &lower,
                          BitWriter *out) const override;

private:
    /// The first fields of a header, up to where the slice type stands; false if `unit` does not
    /// begin a picture.
    bool readStart(const Bytes &unit, BitReader *in) const;
    void writeStart(const Bytes &unit, int line, BitWriter *out) const;
    /// The fields of a header from slice_type on; those that place the picture go into *slice.
    bool readRest(const Bytes &unit, BitReader *in, LowerSlice *slice, std::uint32_t *type,
                  std::int32_t *qpDelta) const;

    Sets m_sets;
    int m_columns = 0;
    int m_stripHeight = 0;
};

bool H265Joiner::init(const Bytes &parameterSets, int width, int stripHeight)
{
    bool hasSps = false;
    bool hasPps = false;
    for (const Bytes &unit : splitUnits(parameterSets.data(), parameterSets.size())) {
        if (typeOf(unit) == kSps)
            hasSps = readSps(unit, &m_sets);
        else if (typeOf(unit) == kPps)
            hasPps = readPps(unit, &m_sets);
        else if (typeOf(unit) != kVps)
            continue; // the encoder introduces itself
        appendUnit(unit, &m_parameterSets);
    }
    if (!hasSps || !hasPps || stripHeight % m_sets.blockSize != 0)
        return false;
    m_columns = (width + m_sets.blockSize - 1) / m_sets.blockSize;
    m_stripHeight = stripHeight;
    return true;
}

bool H265Joiner::readStart(const Bytes &unit, BitReader *in) const
{
    const bool first = in->flag(); // first_slice_segment_in_pic_flag
    if (isIrap(unit))
        in->skip(1); // no_output_of_prior_pics_flag
    in->ue();        // slice_pic_parameter_set_id
    return first;
}

/// The first fields of a slice that begins at `line`.
void H265Joiner::writeStart(const Bytes &unit, int line, BitWriter *out) const
{
    out->copy(unit, 0, 16); // nal_unit_header
    out->flag(line == 0);
    if (isIrap(unit))
        out->flag(false); // no_output_of_prior_pics_flag
    out->ue(m_sets.id);
    if (line == 0)
        return;
    if (m_sets.dependent)
        out->flag(false);
    out->bits(static_cast<std::uint32_t>(line / m_sets.blockSize * m_columns), m_sets.addressBits);
}

bool H265Joiner::readRest(const Bytes &unit, BitReader *in, LowerSlice *slice, std::uint32_t *type,
                          std::int32_t *qpDelta) const
{
    *type = in->ue(); // slice_type
    slice->orderBegin = in->position();
    if (!isIdr(unit)) {
        in->skip(m_sets.orderBits);
        if (in->flag()) // short_term_ref_pic_set_sps_flag: there are no sets
            return false;
        const std::uint32_t negative = in->ue();
        const std::uint32_t positive = in->ue();
        for (std::uint32_t i = 0; i < negative + positive && in->isOk(); ++i) {
            in->ue(); // delta_poc_minus1
            in->skip(1);
        }
    }
    slice->orderEnd = in->position();
    if (*type != kTypeI) {
        if (in->flag()) // num_ref_idx_active_override_flag
            in->ue();
        if (m_sets.cabacInit)
            in->skip(1);
        in->ue(); // five_minus_max_num_merge_cand
    }
    *qpDelta = in->se();
    slice->key = isIdr(unit);
    return in->isOk() && (*type == kTypeI || *type == 1) && (slice->key || !isIrap(unit));
}

bool H265Joiner::takeLower(const Bytes &coded, LowerSlice *slice) const
{
    bool taken = false;
    for (Bytes &unit : splitUnits(coded.data(), coded.size())) {
        if (typeOf(unit) < 0 || typeOf(unit) > kLastIrap)
            continue;
        BitReader in(unit, 2);
        std::uint32_t type = 0;
        std::int32_t qpDelta = 0;
        if (taken || !readStart(unit, &in))
            return false;
        taken = true;
        const std::size_t begin = in.position();
        if (!readRest(unit, &in, slice, &type, &qpDelta))
            return false;
        BitWriter out;
        writeStart(unit, m_stripHeight, &out);
        out.copy(unit, begin, in.position());
        out.alignWithStop();
        Bytes made = out.bytes();
        made.insert(made.end(), payloadOf(unit, in), unit.cend());
        appendUnit(made, &slice->coded);
        slice->unit = std::move(unit);
    }
    return taken;
}

bool H265Joiner::takeUpper(const Bytes &coded, UpperSlice *slice) const
{
    for (const Bytes &unit : splitUnits(coded.data(), coded.size())) {
        if (!isIdr(unit))
            continue;
        BitReader in(unit, 2);
        LowerSlice unused;
        std::uint32_t type = 0;
        if (!readStart(unit, &in) || !readRest(unit, &in, &unused, &type, &slice->qpDelta) ||
            type != kTypeI)
            return false;
        slice->payload.assign(payloadOf(unit, in), unit.cend());
        return true;
    }
    return false;
}

bool H265Joiner::makeUpper(const Bytes &luma, int lines, UpperSlice *slice) const
{
    if (!m_sets.flat || m_sets.blockSize != kFlatBlock)
        return false;
    slice->qpDelta = 0;
    slice->payload = encodeFlatSlice(luma, lines, m_sets.startQp);
    return true;
}

void H265Joiner::writeUpperHeader(const UpperSlice &upper, const LowerSlice &lower,
                                  BitWriter *out) const
{
    writeStart(lower.unit, upper.top, out);
    out->ue(kTypeI);
    out->copy(lower.unit, lower.orderBegin, lower.orderEnd);
    out->se(upper.qpDelta);
    out->alignWithStop();
}

} // namespace

std::unique_ptr<SliceJoiner> createH265Joiner(const Bytes &parameterSets, int width,
                                              int stripHeight)
{
    auto joiner = std::make_unique<H265Joiner>();
    if (!joiner->init(parameterSets, width, stripHeight))
        return nullptr;
    return joiner;
}

} // namespace vantrasim
