// What was chosen in dialogs before: any text is taken, and what it says is said again.
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "app/save_choices.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  app::save_choices choices;
  choices.take_text({reinterpret_cast<const char*>(data), size});
  app::save_choices again;
  again.take_text(choices.text());
  if (again.text() != choices.text()) std::abort();
  return 0;
}
