// Each route of the chain, reached because those before it failed.
#include <new>

#include "metadata/file_metadata_store.h"
#include "metadata/metadata_fixture.h"

namespace quill_box::metadata {

namespace {

using platform::hresult;
using platform::keywords_key;
using platform::property_value;
using platform::rating_key;
using platform::win32_error;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

const std::string packet_start =
    R"(<?xpacket begin="" id="W5M0MpCehiHzreSzNTczkc9d"?><x:xmpmeta><rdf:RDF><xmp:Rating>)";
const std::string packet_end = R"(</xmp:Rating></rdf:RDF></x:xmpmeta><?xpacket end="w"?>)";

class write_chain : public metadata_test {
 protected:
  write_chain() {
    auto& handler = machine.properties.handler(L".jpg");
    handler.refused_keys[rating_key] = hresult::imaging_property_not_supported;
    handler.refused_keys[keywords_key] = hresult::imaging_property_not_supported;
    EXPECT_TRUE(store.open_for_write(photo));
    machine.calls.clear();
  }

  // The property set refuses too, so that the sidecar is left.
  void refuse_property_set() {
    machine.calls.refuse("open_property_set_storage", photo, hresult::storage_access_denied);
  }
  void refuse_sidecar() { machine.calls.refuse("open", photo_sidecar, win32_error::access_denied); }

  file_metadata_store store;
};

using rating_chain = write_chain;
using tag_chain = write_chain;
using tag_removal_chain = write_chain;

// --- rating

TEST_F(rating_chain, each_query_path_is_tried_in_its_order) {
  machine.images.image(photo);
  store.set_rating(4);
  EXPECT_THAT(machine.calls.named({"open_image", "frame_encoder", "container_encoder", "set_metadata"}),
              ElementsAre(R"(open_image(C:\photo.jpg))", R"(frame_encoder(C:\photo.jpg))",
                          R"(set_metadata(C:\photo.jpg, /xmp/xmp:Rating, 4))",
                          R"(set_metadata(C:\photo.jpg, /{ushort=700}/xmp:Rating, 4))",
                          R"(container_encoder(C:\photo.jpg))", R"(set_metadata(C:\photo.jpg, /ifd/xmp/xmp:Rating, 4))",
                          R"(set_metadata(C:\photo.jpg, /{ushort=700}/xmp:Rating, 4))",
                          R"(set_metadata(C:\photo.jpg, /xmp/xmp:Rating, 4))"));
}

TEST_F(rating_chain, an_image_with_room_takes_the_plain_stars_and_ends_it) {
  machine.images.image(photo).frame_queries = {L"/{ushort=700}/xmp:Rating"};
  store.set_rating(4);
  store.commit();
  EXPECT_EQ(machine.images.image(photo).written.at(L"/{ushort=700}/xmp:Rating"), property_value(4U));
  EXPECT_EQ(machine.calls.count("open"), 0U);
  EXPECT_EQ(machine.calls.count("open_property_set_storage"), 0U);
  EXPECT_THAT(machine.log_lines(), IsEmpty());
}

TEST_F(rating_chain, the_packet_in_the_file_comes_next) {
  machine.write_file(photo, packet_start + "12" + packet_end);
  store.close();  // nothing else may have the file open
  file_metadata_store knowing(photo);
  knowing.set_rating(3);
  EXPECT_EQ(machine.read_file(photo), packet_start + "3 " + packet_end);
  EXPECT_EQ(machine.calls.count("open_property_set_storage"), 0U);
}

TEST_F(rating_chain, the_property_set_comes_next_with_the_store_closed) {
  store.set_rating(4);
  EXPECT_EQ(set_value(photo, rating_key), property_value(75U));
  EXPECT_FALSE(machine.exists(photo_sidecar));
  EXPECT_THAT(machine.log_lines(), IsEmpty());
  EXPECT_THAT(
      machine.calls.named({"set", "open_image", "open", "open_property_set_storage", "create_store", "commit",
                           "release_store", "release_storage"}),
      ElementsAre(R"(set(C:\photo.jpg, rating, 75))", R"(open_image(C:\photo.jpg))",
                  R"(open(C:\photo.jpg, read|write, share none, open_existing))", R"(release_store(C:\photo.jpg))",
                  R"(open_property_set_storage(C:\photo.jpg, read_write_exclusive))",
                  R"(create_store(C:\photo.jpg, write))", R"(set(C:\photo.jpg, rating, 75))", R"(commit(C:\photo.jpg))",
                  R"(release_store(C:\photo.jpg))", R"(release_storage(C:\photo.jpg))"));
}

TEST_F(rating_chain, the_sidecar_comes_last_with_a_warning) {
  refuse_property_set();
  store.set_rating(3);
  EXPECT_THAT(machine.read_file(photo_sidecar), HasSubstr("<xmp:Rating>3</xmp:Rating>"));
  EXPECT_THAT(machine.log_lines(), ElementsAre("[WARNING] Embedded and NTFS write paths failed for rating, falling "
                                               R"(back to XMP sidecar: C:\photo.jpg)"));
  EXPECT_EQ(machine.read_file(photo), "photo");
}

TEST_F(rating_chain, each_step_of_the_property_set_must_succeed) {
  store.close();
  for (const char* step : {"open_property_set_storage", "create_store", "set", "commit"}) {
    machine.calls.refuse(step, photo, hresult::storage_medium_full, 1);
    file_metadata_store knowing(photo);
    knowing.set_rating(3);
    const auto sidecar = machine.disk.find(photo_sidecar);
    ASSERT_TRUE(sidecar) << step;
    machine.disk.remove(*sidecar);
  }
}

TEST_F(rating_chain, a_property_set_without_memory_goes_on_to_the_sidecar) {
  store.close();
  for (const char* step : {"open_property_set_storage", "create_store", "set", "commit"}) {
    machine.calls.before(step, 1, [] { throw std::bad_alloc(); });
    file_metadata_store knowing(photo);
    knowing.set_rating(3);
    const auto sidecar = machine.disk.find(photo_sidecar);
    ASSERT_TRUE(sidecar) << step;
    machine.disk.remove(*sidecar);
  }
}

TEST_F(rating_chain, when_every_route_failed_it_is_raised) {
  refuse_property_set();
  refuse_sidecar();
  EXPECT_EQ(raised_by([&] { store.set_rating(3); }), "Failed to set rating");
  EXPECT_FALSE(machine.exists(photo_sidecar));
  EXPECT_EQ(machine.read_file(photo), "photo");
}

TEST_F(rating_chain, behind_it_the_commit_has_nothing_to_add) {
  store.set_rating(4);
  machine.calls.clear();
  store.commit();
  EXPECT_THAT(machine.calls.all(), IsEmpty());
}

TEST_F(rating_chain, stars_off_the_scale_are_500_on_every_route) {
  machine.images.image(photo).frame_queries = {L"/xmp/xmp:Rating"};
  store.set_rating(7);
  EXPECT_EQ(machine.images.image(photo).written.at(L"/xmp/xmp:Rating"), property_value(500U));
  machine.images.image(photo).has_room = false;
  refuse_property_set();
  store.set_rating(-1);
  EXPECT_THAT(machine.read_file(photo_sidecar), HasSubstr("<xmp:Rating>500</xmp:Rating>"));
}

TEST_F(rating_chain, a_folder_goes_the_same_way) {
  machine.calls.refuse("set", folder, hresult::storage_access_denied, 1);
  ASSERT_TRUE(store.open_for_write(folder));
  store.set_rating(2);
  EXPECT_EQ(set_value(folder, rating_key), property_value(25U));
}

TEST_F(rating_chain, a_store_without_a_path_fails_on_every_route) {
  file_metadata_store closed;
  EXPECT_EQ(raised_by([&] { closed.set_rating(3); }), "Failed to set rating");
  EXPECT_EQ(machine.calls.count("open"), 0U);
  EXPECT_EQ(machine.calls.count("open_image"), 0U);
}

// --- tags

TEST_F(tag_chain, each_query_path_is_tried_in_its_order_with_the_sorted_list) {
  machine.images.image(photo);
  store.set_tags(tag_vector{L"b", L"A"});
  EXPECT_THAT(
      machine.calls.named({"open_image", "frame_encoder", "container_encoder", "set_metadata"}),
      ElementsAre(R"(open_image(C:\photo.jpg))", R"(frame_encoder(C:\photo.jpg))",
                  R"(set_metadata(C:\photo.jpg, /xmp/dc:subject, [A, b]))",
                  R"(set_metadata(C:\photo.jpg, /{ushort=700}/dc:subject, [A, b]))",
                  R"(container_encoder(C:\photo.jpg))", R"(set_metadata(C:\photo.jpg, /ifd/xmp/dc:subject, [A, b]))",
                  R"(set_metadata(C:\photo.jpg, /{ushort=700}/dc:subject, [A, b]))",
                  R"(set_metadata(C:\photo.jpg, /xmp/dc:subject, [A, b]))"));
}

TEST_F(tag_chain, an_image_with_room_ends_it) {
  machine.images.image(photo).container_queries = {L"/ifd/xmp/dc:subject"};
  store.set_tags(tag_vector{L"b", L"A"});
  EXPECT_EQ(machine.images.image(photo).written.at(L"/ifd/xmp/dc:subject"), property_value(tag_vector{L"A", L"b"}));
  EXPECT_EQ(machine.calls.count("open_property_set_storage"), 0U);
}

TEST_F(tag_chain, the_property_set_comes_next_with_the_store_closed) {
  machine.write_file(photo, packet_start + "1" + packet_end);
  store.set_tags(tag_vector{L"b", L"A"});
  EXPECT_EQ(set_value(photo, keywords_key), property_value(tag_vector{L"A", L"b"}));
  EXPECT_EQ(machine.read_file(photo), packet_start + "1" + packet_end);
  EXPECT_THAT(
      machine.calls.named({"open", "release_store", "open_property_set_storage"}),
      ElementsAre(R"(release_store(C:\photo.jpg))", R"(open_property_set_storage(C:\photo.jpg, read_write_exclusive))",
                  R"(release_store(C:\photo.jpg))"));
}

TEST_F(tag_chain, the_sidecar_comes_last_with_a_warning) {
  refuse_property_set();
  store.set_tags(tag_vector{L"b", L"R&D"});
  EXPECT_THAT(machine.read_file(photo_sidecar),
              HasSubstr("<rdf:li>b</rdf:li>\n     <rdf:li>R&D</rdf:li>\n    </rdf:Bag>"));
  EXPECT_THAT(machine.log_lines(), ElementsAre("[WARNING] Embedded and NTFS write paths failed for keywords, falling "
                                               R"(back to XMP sidecar: C:\photo.jpg)"));
}

TEST_F(tag_chain, when_every_route_failed_it_is_raised) {
  refuse_property_set();
  refuse_sidecar();
  EXPECT_EQ(raised_by([&] { store.set_tags(tag_vector{L"a"}); }), "Failed to set tags");
  EXPECT_FALSE(machine.exists(photo_sidecar));
}

TEST_F(tag_chain, behind_it_there_are_no_tags_to_read) {
  store.set_tags(tag_vector{L"a"});
  EXPECT_THAT(store.get_tags(), IsEmpty());
}

// --- removal of all tags

TEST_F(tag_removal_chain, an_image_takes_an_empty_list) {
  machine.images.image(photo).frame_queries = {L"/xmp/dc:subject"};
  store.remove_all_tags();
  EXPECT_EQ(machine.images.image(photo).written.at(L"/xmp/dc:subject"), property_value(tag_vector()));
}

TEST_F(tag_removal_chain, the_property_set_comes_next) {
  machine.properties.set_property_set_value(photo, keywords_key, tag_vector{L"a"});
  store.remove_all_tags();
  EXPECT_EQ(set_value(photo, keywords_key), no_value);
  EXPECT_THAT(machine.log_lines(), IsEmpty());
}

TEST_F(tag_removal_chain, the_sidecar_gets_an_empty_bag_with_a_warning) {
  refuse_property_set();
  store.remove_all_tags();
  EXPECT_THAT(machine.read_file(photo_sidecar),
              HasSubstr("   <dc:subject>\n    <rdf:Bag>\n    </rdf:Bag>\n   </dc:subject>"));
  EXPECT_THAT(machine.log_lines(), ElementsAre("[WARNING] Embedded and NTFS write paths failed for removing keywords, "
                                               R"(falling back to XMP sidecar: C:\photo.jpg)"));
}

TEST_F(tag_removal_chain, when_every_route_failed_it_is_raised) {
  refuse_property_set();
  refuse_sidecar();
  EXPECT_EQ(raised_by([&] { store.remove_all_tags(); }), "Failed to remove all tags");
}

}  // namespace

}  // namespace quill_box::metadata
