// The golden corpus: numbered whole operations of map_polygon, map_rectangle
// and multisrc_map_rectangle (first the committed fuzz inputs, then cases
// generated from their number alone), run, and reduced to a CRC of
// everything they wrote and reported.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace golden {

struct case_result {
    uint32_t crc;        // every buffer of the case after the call, and the reports
    bool rcp_dependent;  // a perspective polygon drawn by packed members
    std::string summary; // the parameters, one line
};

case_result run_case(uint32_t number);

// CRC-32 (polynomial 0xEDB88320), continuing from `crc` (0 to start).
uint32_t crc32(uint32_t crc, const void *data, size_t size);

// Bits of the processor's approximate reciprocal for a few fixed inputs,
// folded into one value: processors of one kind give the same value.
uint32_t rcp_kind();

} // namespace golden
