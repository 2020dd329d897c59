#include "companion/assemble/framework.h"

#include <gtest/gtest.h>

#include <ostream>

#include "tests/support/rows.h"

namespace tavrine {
namespace {

struct FrameworkRow {
  const char* name;
  std::string_view words;
  std::string_view framework;
};
void PrintTo(const FrameworkRow& row, std::ostream* out) { *out << row.words; }

class FrameworkIn : public testing::TestWithParam<FrameworkRow> {};

TEST_P(FrameworkIn, isWhatTheWordsSpeakOf) {
  EXPECT_EQ(frameworkIn(GetParam().words), GetParam().framework);
}

INSTANTIATE_TEST_SUITE_P(Words, FrameworkIn,
                         rows<FrameworkRow>({
                             {"nothing", "", "unknown"},
                             {"noneOfThem", "python train.py", "unknown"},
                             {"aWord", "torchrun train.py", "PyTorch"},
                             {"partOfAWord", "forward (pytorch_model.py)", "PyTorch"},
                             {"anyLetterCase", "import JAX", "JAX"},
                             {"theMoreSpecial", "torchrun deepspeed", "PyTorch + DeepSpeed"},
                             {"theFirstOfTheTable", "keras tensorflow", "TensorFlow"},
                             {"behindWhatIsNotUTF8", "\xFF keras", "Keras"},
                         }),
                         rowName);

}  // namespace
}  // namespace tavrine
