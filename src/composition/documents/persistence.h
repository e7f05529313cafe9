// Documents that outlive a run: compositions and settings.
//
// A name that ends in ".xml" is written and read as XML, every other as a compressed binary file. Pictures and sound
// that a composition holds itself are in binary files only.
#pragma once

#include <string>
#include <string_view>

#include "composition/state.h"
#include "io/binary_archive.h"
#include "io/xml_archive.h"

namespace ksn {

// Writes the whole file or leaves the old one. Throws the io family and std::bad_alloc.
void save_composition(const state& composition, const std::string& path);

// Replaces the document by that of the file. The document is left alone when the file can't be opened; a file that is
// broken further on gives what was read up to there, and the exception. The present document is filed first
// (state_hooks::file_among_unsaved) when it has layers and `file_present` is set. Sources that moved along with the
// file are found again (composition/relink.h). Clips are opened again; one that can't be opened leaves a layer without
// a source. A document that was replaced has no file name; the working folder stays.
void load_composition(state& composition, const std::string& path, bool file_present);

// The bodies of those two, for archives in memory, without header and footer. The result is stored field by field as
// it stands; nothing is opened.
template <class Archive>  // either kind of io
void read_composition(Archive& archive, composition_view& stored);
template <class Archive>
void write_composition(Archive& archive, const composition_view& stored);
// Whether any table of the document needs the newer lookup records (serialize_image.h).
bool has_own_grids(const composition_view& stored);
// The invariants of the document (composition/invariants.h) hold then, whatever `stored` was read from.
void put_within_bounds(composition_view& stored);

constexpr const char* settings_file_name = "kestrin.settings.dat";

// The settings of the user's configuration folder, or as long as that has none those of the site's folder, read at
// start; the user's are written when they change and at the end of a run with a window. Both swallow every failure and
// return false. After a failed read the defaults stand, but for what was read before it; after a failed write the old
// file stands. Instances that end at the same time write one after the other.
bool load_settings(composition_view& stored);
bool save_settings(const composition_view& stored);
// save_settings() in two steps, of which any thread may take the second.
std::string settings_bytes(const composition_view& stored);
bool save_settings_bytes(std::string_view bytes);
// The same for a file of any name; they throw.
void load_settings_file(composition_view& stored, const std::string& path);
void save_settings_file(const composition_view& stored, const std::string& path);
// The bodies, for archives in memory.
template <class Archive>  // either kind of io
void read_settings(Archive& archive, composition_view& stored);
template <class Archive>
void write_settings(Archive& archive, const composition_view& stored);

}  // namespace ksn
