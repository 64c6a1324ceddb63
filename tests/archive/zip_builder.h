// Builds zip archives byte by byte, so that tests can make the malformed and
// hostile ones no zip writer would.
#ifndef BASE_TESTS_ARCHIVE_ZIP_BUILDER_H_
#define BASE_TESTS_ARCHIVE_ZIP_BUILDER_H_

#include <zlib.h>

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

inline std::string BuildZip(const std::vector<ZipEntry>& entries) {
  auto put = [](std::string& s, std::uint64_t v, int bytes) {
    for (int i = 0; i < bytes; ++i)
      s += static_cast<char>((v >> (8 * i)) & 0xFF);
  };
  std::string body, directory;
  for (const ZipEntry& e : entries) {
    const std::string packed = e.method == 8 ? Deflate(e.data) : e.data;
    const std::uint32_t crc =
        static_cast<std::uint32_t>(crc32(0, reinterpret_cast<const Bytef*>(e.data.data()),
                                         static_cast<uInt>(e.data.size()))) ^
        e.crc_mask;
    const std::uint64_t size = e.data.size() + e.extra_size;
    std::string extra;
    if (e.zip64) {
      put(extra, 1, 2), put(extra, 16, 2), put(extra, size, 8), put(extra, packed.size(), 8);
    }
    auto header = [&](std::string& s, const std::string& name) {
      put(s, 20, 2), put(s, e.flags, 2), put(s, e.method, 2), put(s, 0, 2), put(s, 0x21, 2);
      put(s, crc, 4), put(s, e.zip64 ? 0xFFFFFFFFu : packed.size(), 4);
      put(s, e.zip64 ? 0xFFFFFFFFu : size, 4), put(s, name.size(), 2), put(s, extra.size(), 2);
    };
    const std::uint64_t offset = body.size();
    put(body, 0x04034b50, 4);
    const std::string& local = e.local_name.empty() ? e.name : e.local_name;
    header(body, local);
    body += local + extra + packed;
    put(directory, 0x02014b50, 4), put(directory, 0x0314, 2);
    header(directory, e.name);
    put(directory, 0, 6), put(directory, e.external, 4), put(directory, offset, 4);
    directory += e.name + extra;
  }
  std::string end;
  put(end, 0x06054b50, 4), put(end, 0, 4), put(end, entries.size(), 2);
  put(end, entries.size(), 2), put(end, directory.size(), 4), put(end, body.size(), 4);
  put(end, 0, 2);
  return body + directory + end;
}

}  // namespace base::testing

#endif  // BASE_TESTS_ARCHIVE_ZIP_BUILDER_H_
