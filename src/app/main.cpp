#include <csignal>
#include <string>
#include <vector>

#include "app/application.h"

int main(int argc, char** argv) {
  // A file that outgrows the user's limit is an error line, as a full disk is.
  std::signal(SIGXFSZ, SIG_IGN);
  app::application application;
  return application.application_main(std::vector<std::string>(argv, argv + argc));
}
