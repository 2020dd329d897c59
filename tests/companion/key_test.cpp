#include "companion/watch/key.h"

#include "companion/watch/view.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>
#include <string>

namespace tavrine {
namespace {

TEST(CommandOf, everyNumberOfAViewGoesThere) {
  for (std::size_t i = 0; i < kViews.size(); ++i) {
    EXPECT_EQ(commandOf({Key::character, static_cast<char32_t>(U'1' + i)}), Command::goToView);
  }
  EXPECT_EQ(commandOf({Key::character, static_cast<char32_t>(U'1' + kViews.size())}), std::nullopt);
  EXPECT_EQ(commandOf({Key::character, U'0'}), std::nullopt);
}

TEST(CommandOf, otherKeysDoNothing) {
  for (const char32_t c : {U'Q', U'x', U'\0', U'\u00E9', U'\U0010FFFF'}) {
    EXPECT_EQ(commandOf({Key::character, c}), std::nullopt);
  }
}

TEST(CommandOf, everyCommandHasAKeyThatTheHelpNames) {
  std::string named;
  for (const KeyHelp& help : keyHelp()) named.append(help.keys).append(" ");
  std::set<Command> commands;
  for (char32_t c = U' '; c < 0x7F; ++c) {
    const auto command = commandOf({Key::character, c});
    if (!command) continue;
    commands.insert(*command);
  }
  for (const Key key : {Key::up,
                        Key::down,
                        Key::left,
                        Key::right,
                        Key::pageUp,
                        Key::pageDown,
                        Key::home,
                        Key::end,
                        Key::enter,
                        Key::escape,
                        Key::tab,
                        Key::backTab,
                        Key::backspace}) {
    ASSERT_TRUE(commandOf({key}));
    commands.insert(*commandOf({key}));
  }
  EXPECT_EQ(commands.size(), static_cast<std::size_t>(Command::quit) + 1);
  for (const char* const key :
       {"1 to 6", "Tab", "Enter", "Esc", "PgUp", "/", "s", "r", "p", "?", "q"}) {
    EXPECT_THAT(named, testing::HasSubstr(key));
  }
}

}  // namespace
}  // namespace tavrine
