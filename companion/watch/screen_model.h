// The state of the live screen: what is shown, from where to where, and how that changes with each
// key and each snapshot. Knows no terminal.
#pragma once

#include "companion/watch/arrangement.h"
#include "companion/watch/history.h"
#include "companion/watch/key.h"
#include "companion/watch/screen_table.h"
#include "companion/watch/snapshot_source.h"
#include "companion/watch/view.h"

#include <TavrineShared/model/app_snapshot.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tavrine {

/// Of a terminal, in characters. May be 0.
struct ScreenSize {
  std::size_t rows;
  std::size_t columns;

  bool operator==(const ScreenSize&) const = default;
};

/// What the rows of the screen are for, from the top: a line about the lab, the names of the views,
/// lines that stay, what scrolls, and a line about keys. Where there are few rows, what is not the
/// lab itself goes first.
struct ScreenFrame {
  std::size_t title;  ///< how many lines each has
  std::size_t tabs;
  std::size_t head;
  std::size_t body;
  std::size_t footer;
};

/// What fills the screen: a view, or what is laid over it.
enum class Page : std::uint8_t { view, run, help };

class ScreenModel {
 public:
  /// Keeps of `source` what it is called and when it is stale.
  ScreenModel(const SnapshotSource& source, ScreenSize size);

  void tell(SourceNews news);
  void resize(ScreenSize size);
  void press(const KeyPress& press);

  bool hasQuit() const { return hasQuit_; }
  bool isPaused() const { return isPaused_; }
  bool isTyping() const { return isTyping_; }  ///< a filter

  const std::string& sourceName() const { return sourceName_; }
  double staleAfterSeconds() const { return staleAfterSeconds_; }
  const std::string& problem() const { return problem_; }
  /// Whether what is shown is older than what the source last spoke of.
  bool showsLastGood() const { return showsLastGood_; }
  const std::string& filter() const { return filter_; }
  ScreenSize size() const { return size_; }
  View view() const { return view_; }
  Page page() const { return page_; }
  ScreenFrame frame() const;
  const Sorting& sorting() const { return sortings_[static_cast<std::size_t>(view_)]; }

  /// The last good one; null before the first.
  const AppSnapshot* snapshot() const { return snapshot_.get(); }
  const History& history() const { return history_; }
  /// Of the view that is shown.
  const std::vector<ScreenTable>& tables() const { return tables_; }
  const std::vector<Item>& items() const { return items_; }
  /// The place of the first item, or line of a page laid over, that is on the screen.
  std::size_t top() const { return place().top; }
  /// The place of the selected item, in a view that selects.
  std::size_t selected() const { return place().selected; }
  /// How many items or lines there are on the page that is shown, and how many fit.
  std::size_t count() const;
  std::size_t fitting() const;
  /// The run that is laid open; null where none is.
  const TrainingRun* openRun() const;

 private:
  struct Place {
    std::size_t top = 0;
    std::size_t selected = 0;
  };
  struct RunName {
    std::string server;
    std::string run;
  };

  // The views have a place each, so that one comes back to where one was; and so have the pages
  // that are laid over them.
  static constexpr std::size_t kRunPlace = kViews.size();
  static constexpr std::size_t kHelpPlace = kViews.size() + 1;

  std::size_t placeNumber() const;
  Place& place() { return places_[placeNumber()]; }
  const Place& place() const { return places_[placeNumber()]; }
  bool selects() const { return page_ == Page::view && infoOf(view_).selects; }

  void obey(Command command, char32_t typed);
  void type(const KeyPress& press);
  void goTo(View view);
  void moveBy(std::ptrdiff_t steps);
  void openSelected();
  void goBack();
  void sortByNext();
  void arrange();
  void settle();

  std::string sourceName_;
  double staleAfterSeconds_;
  ScreenSize size_;
  std::shared_ptr<const AppSnapshot> snapshot_;  // the tables point into it
  History history_;
  std::string problem_;
  bool showsLastGood_ = false;
  std::vector<ScreenTable> tables_;
  std::vector<Item> items_;

  View view_ = View::overview;
  Page page_ = Page::view;
  std::array<Place, kViews.size() + 2> places_;
  std::array<Sorting, kViews.size()> sortings_;
  std::optional<RunName> openRun_;
  std::string filter_;
  bool isTyping_ = false;
  bool isPaused_ = false;
  bool hasQuit_ = false;
};

}  // namespace tavrine
