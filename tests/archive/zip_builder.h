// Builds zip archives byte by byte, so that tests can make the malformed and
// hostile ones no zip writer would.
#ifndef BASE_TESTS_ARCHIVE_ZIP_BUILDER_H_
#define BASE_TESTS_ARCHIVE_ZIP_BUILDER_H_

#include <zlib.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

namespace base::testing {

struct ZipEntry {
  std::string name;
  std::string data;
  std::uint16_t method = 0;  // 8 deflates `data`; any other value stores it as it is
  std::uint16_t flags = 0;
  std::uint32_t external = 0;    // external attributes, e.g. a unix mode << 16
  std::string local_name;        // the local header's name, if not `name`
  std::uint32_t crc_mask = 0;    // flips bits of the recorded CRC
  std::uint32_t extra_size = 0;  // added to the recorded uncompressed size
  bool zip64 = false;            // sizes only in a zip64 extra field
  // The local header has no CRC and 0xFFFFFFFF sizes (with a zip64 field of
  // zeros), and a zip64 data descriptor follows the data, as streaming writers
  // do it.
  bool descriptor = false;
  std::uint64_t zeros = 0;  // zero bytes stored after `data` (stored entries only)
};

inline std::string Deflate(const std::string& data) {
  z_stream z{};
  deflateInit2(&z, 6, Z_DEFLATED, -15, 8, Z_DEFAULT_STRATEGY);
  std::string out(deflateBound(&z, data.size()), '\0');
  z.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(data.data()));
  z.avail_in = static_cast<uInt>(data.size());
  z.next_out = reinterpret_cast<Bytef*>(out.data());
  z.avail_out = static_cast<uInt>(out.size());
  deflate(&z, Z_FINISH);
  out.resize(z.total_out);
  deflateEnd(&z);
  return out;
}

inline void Put(std::string& s, std::uint64_t v, int bytes) {
  for (int i = 0; i < bytes; ++i)
    s += static_cast<char>((v >> (8 * i)) & 0xFF);
}

inline std::uint32_t EntryCrc(const ZipEntry& e) {
  uLong crc =
      crc32(0, reinterpret_cast<const Bytef*>(e.data.data()), static_cast<uInt>(e.data.size()));
  const std::string block(1 << 20, '\0');
  for (std::uint64_t left = e.zeros; left > 0;) {
    const auto n = static_cast<uInt>(std::min<std::uint64_t>(left, block.size()));
    crc = crc32(crc, reinterpret_cast<const Bytef*>(block.data()), n);
    left -= n;
  }
  return static_cast<std::uint32_t>(crc) ^ e.crc_mask;
}

inline std::string Zip64Field(const std::string& values) {
  std::string field;
  if (!values.empty())
    Put(field, 1, 2), Put(field, values.size(), 2), field += values;
  return field;
}

// Writes the archive to `sink`, which has Append(bytes), Skip(n) for n zero
// bytes, and Size(). Sizes and offsets that do not fit in 32 bits go to zip64
// fields and records, as do the sizes of entries marked zip64.
template <typename Sink>
void WriteZip(const std::vector<ZipEntry>& entries, const std::string& comment, Sink& sink) {
  constexpr std::uint64_t kMarker = 0xFFFFFFFF;
  std::string directory;
  for (const ZipEntry& e : entries) {
    const std::string packed = e.method == 8 ? Deflate(e.data) : e.data;
    const std::uint64_t packed_size = packed.size() + e.zeros;
    const std::uint64_t size = e.data.size() + e.zeros + e.extra_size;
    const std::uint32_t crc = EntryCrc(e);
    const std::uint64_t offset = sink.Size();
    const bool sizes_in_zip64 = e.zip64 || size >= kMarker || packed_size >= kMarker;
    std::string sizes64;
    if (sizes_in_zip64)
      Put(sizes64, size, 8), Put(sizes64, packed_size, 8);
    std::string offset64;
    if (offset >= kMarker)
      Put(offset64, offset, 8);
    const std::uint16_t flags = e.flags | (e.descriptor ? 8 : 0);
    // The fields that local and central headers share, up to the lengths of
    // the name and the extra field.
    auto header = [&](std::string& s, const std::string& name, std::uint32_t crc_field,
                      bool markers, const std::string& extra) {
      Put(s, 20, 2), Put(s, flags, 2), Put(s, e.method, 2), Put(s, 0, 2), Put(s, 0x21, 2);
      Put(s, crc_field, 4), Put(s, markers ? kMarker : packed_size, 4);
      Put(s, markers ? kMarker : size, 4), Put(s, name.size(), 2), Put(s, extra.size(), 2);
    };

    std::string local;
    Put(local, 0x04034b50, 4);
    const std::string& local_name = e.local_name.empty() ? e.name : e.local_name;
    const std::string local_extra = Zip64Field(e.descriptor ? std::string(16, '\0') : sizes64);
    header(local, local_name, e.descriptor ? 0 : crc, e.descriptor || sizes_in_zip64, local_extra);
    sink.Append(local + local_name + local_extra + packed);
    sink.Skip(e.zeros);
    if (e.descriptor) {
      std::string descriptor;
      Put(descriptor, 0x08074b50, 4), Put(descriptor, crc, 4);
      Put(descriptor, packed_size, 8), Put(descriptor, size, 8);
      sink.Append(descriptor);
    }

    const std::string central_extra = Zip64Field(sizes64 + offset64);
    Put(directory, 0x02014b50, 4), Put(directory, 0x0314, 2);
    header(directory, e.name, crc, sizes_in_zip64, central_extra);
    Put(directory, 0, 6), Put(directory, e.external, 4);
    Put(directory, std::min(offset, kMarker), 4);
    directory += e.name + central_extra;
  }

  const std::uint64_t directory_offset = sink.Size();
  const std::uint64_t count = entries.size();
  std::string end = directory;
  if (directory_offset >= kMarker) {
    const std::uint64_t record = directory_offset + directory.size();
    Put(end, 0x06064b50, 4), Put(end, 44, 8), Put(end, 45, 2), Put(end, 45, 2), Put(end, 0, 8);
    Put(end, count, 8), Put(end, count, 8), Put(end, directory.size(), 8);
    Put(end, directory_offset, 8);
    Put(end, 0x07064b50, 4), Put(end, 0, 4), Put(end, record, 8), Put(end, 1, 4);
  }
  Put(end, 0x06054b50, 4), Put(end, 0, 4), Put(end, count, 2), Put(end, count, 2);
  Put(end, directory.size(), 4), Put(end, std::min(directory_offset, kMarker), 4);
  Put(end, comment.size(), 2);
  sink.Append(end + comment);
}

inline std::string BuildZip(const std::vector<ZipEntry>& entries, const std::string& comment = "") {
  struct StringSink {
    std::string bytes;
    void Append(const std::string& s) { bytes += s; }
    void Skip(std::uint64_t n) { bytes.append(n, '\0'); }
    std::uint64_t Size() const { return bytes.size(); }
  } sink;
  WriteZip(entries, comment, sink);
  return sink.bytes;
}

}  // namespace base::testing

#endif  // BASE_TESTS_ARCHIVE_ZIP_BUILDER_H_
