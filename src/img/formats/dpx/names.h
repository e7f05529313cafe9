// Names of the enumerated values in DPX and Cineon headers, for metadata. Unknown values give "reserved".
#pragma once

namespace img {

const char* dpx_orientation_name(unsigned value);
const char* cineon_orientation_name(unsigned value);
const char* dpx_descriptor_name(unsigned value);
const char* dpx_characteristic_name(unsigned value);  // transfer and colorimetric; 255 is never given
const char* dpx_packing_name(unsigned value);
const char* dpx_encoding_name(unsigned value);
const char* dpx_interlace_name(unsigned value);
const char* dpx_video_standard_name(unsigned value);

}  // namespace img
