// What the tests of the photo scheme have in common: photos with values of their own, patterns, and a small world.
#pragma once

#include <chrono>

#include "organize/geo/geo_bytes.h"
#include "organize/geo/reverse_geocode.h"
#include "organize/organize_fixture.h"
#include "organize/organize_folder.h"
#include "platform/property_keys.h"

namespace quill_box::organize {

/// Paris in France, and no other place.
inline void put_geo_data(support::simulated_machine& machine) {
  using namespace geo_bytes;
  machine.write_file(LR"(C:\Program Files\Quill Box\Content\GeoData\countries.bin)",
                     countries_file({country("France", {square(-5, 42, 8, 51)})}));
  machine.write_file(LR"(C:\Program Files\Quill Box\Content\GeoData\cities.bin)",
                     cities_file({city(48.85, 2.35, "Paris", "Ile-de-France")}));
}

/// Taken at noon.
inline void set_day(support::simulated_machine& machine, std::wstring_view path, int year, int month, int day) {
  const platform::time_value noon = {support::ticks_of({year, month, day, 11, 0, 0, 0})};
  machine.properties.set_handler_value(path, platform::date_taken_key, noon);
}

class organize_by_photos : public organize_test {
 protected:
  organize_by_photos() {
    forget_geo_tables();
    put_geo_data(machine);
    for (const wchar_t* extension : {L".jpg", L".png"})
      machine.properties.handler(extension);
  }
  ~organize_by_photos() override { forget_geo_tables(); }

  void organize() { organize_folder(context, folder, L"photos_pattern"); }
  [[nodiscard]] std::string failure() {
    return support::failure_of([this] { organize(); });
  }
  [[nodiscard]] std::vector<std::string> notifications() const { return machine.calls.named({"notify"}); }

  void use_patterns(std::string_view naming, std::string_view placement) {
    machine.clock.advance(std::chrono::seconds(1));  // a change of the settings shows by its time
    use_settings(text::format(R"("organize.photoNamingPattern":"{}","organize.photoPlacementPattern":"{}")",
                              escaped(naming), escaped(placement)));
  }

  /// Of 4 March 2021.
  void put_photo(std::wstring_view name) {
    put(name);
    set_day(machine, in_folder(name), 2021, 3, 4);
  }
  void put_photos(std::size_t count) {
    for (std::size_t i = 1; i <= count; ++i)
      put_photo(text::format(L"{}.jpg", i));
  }
  void take_in_paris(std::wstring_view name) {
    machine.properties.set_handler_value(in_folder(name), platform::latitude_decimal_key, 48.86);
    machine.properties.set_handler_value(in_folder(name), platform::longitude_decimal_key, 2.34);
  }
  void name_people(std::wstring_view name, const std::vector<std::wstring>& people) {
    machine.properties.set_property_set_value(in_folder(name), platform::people_names_key, people);
  }

 private:
  static std::string escaped(std::string_view pattern) {
    std::string json;
    for (const char c : pattern) {
      if (c == '\\') json += '\\';
      json += c;
    }
    return json;
  }
};

}  // namespace quill_box::organize
