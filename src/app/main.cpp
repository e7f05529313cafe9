#include <string>
#include <vector>

#include "app/application.h"

int main(int argc, char** argv) {
  app::application application;
  return application.application_main(std::vector<std::string>(argv, argv + argc));
}
