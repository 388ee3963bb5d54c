// Rating and keywords edited into any text that stands as a sidecar. The text goes in as the file's bytes.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "metadata/xmp_sidecar.h"
#include "metadata/xmp_text.h"

namespace {

void require(bool holds) {
  if (!holds) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace quill_box::metadata;
  const std::string old = utf8_from_file_content(std::string(reinterpret_cast<const char*>(data), size));
  const std::vector<std::wstring> tags = {L"a", L"R&D", L"\u00e4"};

  const std::string rated = sidecar_with_rating(old, "4");
  require(rated.find(">4<") != std::string::npos || rated.find("xmp:Rating=\"4\"") != std::string::npos);
  // What was set once is found at its place and stays as it is.
  require(sidecar_with_rating(rated, "4") == rated);

  const std::string tagged = sidecar_with_keywords(old, tags);
  require(tagged.find("     <rdf:li>R&D</rdf:li>\n") != std::string::npos);
  require(sidecar_with_keywords(tagged, {}).find("<rdf:Bag>\n    </rdf:Bag>") != std::string::npos);

  require(xml_unescape(xml_escape(old)) == old);
  require(xml_unescape(old).size() <= old.size());
  return 0;
}
