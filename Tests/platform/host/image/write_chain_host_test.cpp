// The whole write chain on real images, where the first way to write fails.
#include <gtest/gtest.h>

#include "metadata/file_metadata_store.h"
#include "platform/host/host_files.h"
#include "platform/host/image/image_bytes.h"
#include "platform/machine.h"
#include "text/conversions.h"

namespace {

using namespace image_bytes;
using host_test::content;
using quill_box::metadata::file_metadata_store;

class host_write_chain : public testing::Test {
 protected:
  void SetUp() override { former_ = platform::install(&platform::native_machine()); }
  void TearDown() override { static_cast<void>(platform::install(former_)); }

  host_test::temporary_folder folder_;

 private:
  platform::machine* former_ = nullptr;
};

// The store must have let go of its file by then: its lock keeps out this process, too.
TEST_F(host_write_chain, without_room_for_a_new_file_the_rating_is_set_in_the_xmp_where_it_stands) {
  const host_test::small_file_system disk(folder_.path("disk"), "64k");
  if (!disk.made()) GTEST_SKIP() << "this process may not mount a small file system";
  const std::string path = folder_.path("disk/a.jpg");
  const auto image = [](std::string_view rating) {
    const std::string xmp = packet(description(" xmp:Rating=\"" + std::string(rating) + "\""), 0);
    return jpeg(xmp_segment(xmp), host_test::noise(40000, 1));
  };
  host_test::put(path, image("1"));
  file_metadata_store store;
  ASSERT_TRUE(store.open_for_write(text::wide_from_utf8(path)));
  store.set_rating(4);
  store.commit();
  EXPECT_EQ(content(path), image("4"));
}

TEST_F(host_write_chain, a_photo_touched_after_the_open_gets_the_rating_in_every_block) {
  const std::string path = folder_.path("a.jpg");
  host_test::put(path, jpeg(exif_segment(camera_exif()) + xmp_segment(packet(description(" xmp:Rating=\"1\"")))));
  file_metadata_store store;
  ASSERT_TRUE(store.open_for_write(text::wide_from_utf8(path)));
  host_test::put(path, content(path));
  store.set_rating(4);
  store.commit();
  const std::string bytes = content(path);
  const opened_image image = open(bytes);
  ASSERT_TRUE(image);
  EXPECT_EQ(xmp_values(*image->blocks().xmp, platform::host::image::xmp_field::percent),
            std::vector<std::string>{"75"});
  EXPECT_EQ(tiff_number(*image->blocks().exif, platform::host::image::tiff_tag::rating), 4U);
}

}  // namespace
