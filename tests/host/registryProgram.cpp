#include "tests/host/registryProgram.h"

#include <boost/process.hpp>

namespace Testing {

Outcome RunRegistry(const std::vector<std::string>& arguments, const std::string& input) {
  const TemporaryFolder folder;
  namespace bp = boost::process;
  Outcome outcome;
  outcome.status = bp::system(HESPER_HOST_PROGRAM, bp::args(arguments),
                              bp::std_in<folder.Write("in", input), bp::std_out> folder / "out",
                              bp::std_err > folder / "err");
  outcome.output = ReadFile(folder / "out");
  outcome.errors = ReadFile(folder / "err");
  return outcome;
}

}  // namespace Testing
