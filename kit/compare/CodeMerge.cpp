// Merges three texts of code with what stands around it. Each version is cut into lines, equal lines get one number,
// and git merges the three lists of numbers (LineMerge). The hard part is to make paragraphs of the merged lines again:
// a paragraph has text beside its code, such as a picture, that must come out once, and all its lines may come from
// different sides. Where that cannot be, the caller keeps both documents whole.
#include "kit/compare/CodeMerge.hpp"

#include "kit/compare/LineMerge.hpp"
#include "kit/compare/MarkedCode.hpp"
#include "kit/compare/ParagraphLines.hpp"
#include "kit/document/CodeParagraphs.hpp"
#include "kit/document/StoredText.hpp"

#include <algorithm>
#include <array>
#include <set>

namespace flowbook::kit {

namespace {

// Around the number of a thing; no XML can hold them.
constexpr char kThingMark = '\1', kThingEnd = '\2';

using Namespaces = std::map<std::string, std::string>;

SpellReference marking(const CodeText& text) {
    return [&text](const std::string& id) { return kThingMark + std::to_string(text.things.at(id)) + kThingEnd; };
}

/// Calls `text` for what stands between marks, and `thing` for the number in each.
template <class Text, class Thing>
void walkMarks(const std::string& marked, Text text, Thing thing) {
    std::size_t done = 0;
    for (std::size_t at = marked.find(kThingMark); at != std::string::npos; at = marked.find(kThingMark, done)) {
        text(std::string_view(marked).substr(done, at - done));
        done = marked.find(kThingEnd, at) + 1;
        thing(std::stoul(marked.substr(at + 1, done - at - 2)));
    }
    text(std::string_view(marked).substr(done));
}

/// A version as numbered lines.
struct CodeSide {
    const CodeText* text = nullptr;
    std::optional<ParagraphLines> lines{};
    LineNumbers numbers{};
    std::map<std::size_t, std::vector<std::size_t>> places{};  ///< of the lines of a number, in their order
    std::map<std::size_t, std::size_t> used{};                 ///< how many of them the result has

    const BlockLine* next(std::size_t number) const {
        const auto found = places.find(number);
        const auto count = used.find(number);
        const std::size_t at = count == used.end() ? 0 : count->second;
        return found == places.end() || at >= found->second.size() ? nullptr : &lines->lines()[found->second[at]];
    }

    const BlockLine* any(std::size_t number) const {
        const auto found = places.find(number);
        return found == places.end() ? nullptr : &lines->lines()[found->second.front()];
    }
};

/// A line with the version that it is taken from.
struct Taken {
    const CodeSide* side;
    const BlockLine* line;

    const MergeBlock& block() const { return side->lines->blocks()[line->block]; }
    bool isCode() const { return side->lines->isCode(*line); }
    std::string spelled() const { return side->lines->spelled(block(), std::nullopt, marking(*side->text)); }
    bool hasBeside() const { return side->lines->hasBeside(block()); }
    /// Whether the paragraph ends with it.
    bool isLast() const {
        const std::string& code = *block().paragraph.code;
        return line->line == static_cast<std::size_t>(std::count(code.begin(), code.end(), '\n'));
    }
    bool isWhole() const { return block().paragraph.code == line->text; }
    std::string forPeople() const { return isCode() ? line->text : block().text; }
};

/// Whether no prefix means two things. One that the merged document does not declare makes it malformed.
bool agree(const Namespaces& some, const Namespaces& others) {
    const auto isSame = [&](const Namespaces::value_type& each) {
        const auto other = others.find(each.first);
        return other == others.end() ? !each.first.empty() : other->second == each.second;
    };
    return std::all_of(some.begin(), some.end(), isSame);
}

/// Puts the lines of a result together.
class Writer {
public:
    /// @param isOneParagraph  whether all code goes into one. @param divides  whether each line of code gets its own,
    /// but for paragraphs that show something beside their code.
    Writer(bool declares, bool isOneParagraph, bool divides)
        : declares_(declares), isOneParagraph_(isOneParagraph), divides_(divides) {}

    /// Lines of one side that follow each other in a paragraph stay in it; a line of the other side goes on with it
    /// too.
    void add(const Taken& taken) {
        if (!taken.isCode()) {
            close();
            text_ += taken.spelled();
        } else if (divides_ && !taken.isWhole() && !taken.hasBeside()) {
            addDivided(taken);
        } else {
            if (!canGoOn(taken)) {
                open(taken);
            }
            addText(taken.line->text);
            lines_.push_back(taken);
        }
    }

    /// Whether each of these paragraphs has been begun, as one of the same look may have been in its place, and none
    /// twice.
    bool hasOnce(const ParagraphLines& lines) const {
        return !beganTwice_ && std::all_of(lines.blocks().begin(), lines.blocks().end(), [&](const MergeBlock& block) {
            return !lines.hasBeside(block) || styles_.count(block.style) != 0;
        });
    }

    /// The lines of the paragraph that is open, which is as if it had never been begun; none once it holds markers.
    std::vector<Taken> takeBack() {
        if (hasMarkers_) {
            return {};
        }
        open_.reset();
        code_.reset();
        return std::exchange(lines_, {});
    }

    /// Begins the paragraph of a line, with no text in it yet.
    void open(const Taken& taken) {
        close();
        open_ = taken;
        if (divides_ && taken.hasBeside()) {
            styles_.insert(taken.block().style);
            beganTwice_ = !begun_.insert(&taken.block()).second || beganTwice_;
        }
    }

    bool isOpen() const { return open_.has_value(); }

    bool canGoOn(const Taken& taken) const {
        const bool isOfSame = !divides_ || (open_ && &open_->block() == &taken.block());
        return open_ && isOfSame && taken.isCode() && (isOneParagraph_ || taken.line->line > 0);
    }

    /// A line that no version has: in the paragraph that is open, or in one of its own.
    void addMarker(const std::string& marker) {
        if (open_) {
            addText(marker);
            hasMarkers_ = true;
        } else {
            text_ += newTextParagraph(marker, declares_);
        }
    }

    void close() {
        if (open_) {
            text_ += open_->side->lines->spelled(open_->block(), code_.value_or(""), marking(*open_->side->text));
        }
        open_.reset();
        code_.reset();
        lines_.clear();
        hasMarkers_ = false;
    }

    std::string take() {
        close();
        return std::move(text_);
    }

private:
    /// A line that one version has in a paragraph of several: it gets its own, or goes among those of a paragraph that
    /// shows something beside its code and is not at its end.
    void addDivided(const Taken& taken) {
        const bool isAmong = open_ && open_->hasBeside() && !lines_.empty() && !lines_.back().isLast();
        if (isAmong) {
            addText(taken.line->text);
            return;
        }
        close();
        text_ += newTextParagraph(taken.line->text, declares_);
    }

    void addText(const std::string& line) { code_ = code_ ? *code_ + "\n" + line : line; }

    bool declares_, isOneParagraph_, divides_;
    std::string text_;
    std::optional<Taken> open_;
    std::optional<std::string> code_;
    std::vector<Taken> lines_;  ///< of the open paragraph
    bool hasMarkers_ = false;   ///< whether it holds markers
    // Of paragraphs that show something beside their code:
    std::set<std::string> styles_;
    std::set<const MergeBlock*> begun_;
    bool beganTwice_ = false;
};

/// Lines are put together as text, so a parser has the last word on whether the result is a document.
/// Does not depend on the ids that the result will have.
bool isWellFormed(const std::string& marked) {
    fl::Bytes document;
    const auto append = [&](std::string_view text) { document.insert(document.end(), text.begin(), text.end()); };
    walkMarks(marked, append, [](std::size_t) {});
    return readRichText(document, "").fault.empty();
}

class CodeMerger {
public:
    CodeMerger(const CodeText* base, const CodeText& ours, const CodeText& theirs, const MergeOptions& options)
        : options_(options) {
        sides_[0].text = base;
        sides_[1].text = &ours;
        sides_[2].text = &theirs;
    }

    std::optional<MergedCode> run() {
        for (CodeSide& side : sides_) {
            if (side.text != nullptr && !cut(side)) {
                return std::nullopt;
            }
        }
        chooseForm();
        for (CodeSide& side : sides_) {
            number(side);
        }
        const Namespaces& declared = sides_[1].lines->namespaces();
        // One prefix with two meanings would change what the elements of a side are.
        if (!agree(declared, sides_[2].lines->namespaces()) || !agree(sides_[2].lines->namespaces(), declared)) {
            return std::nullopt;
        }
        const auto word = declared.find("w");
        const bool declares = word == declared.end() || word->second != kWordNamespace;
        Writer writer(declares, isOneParagraph_, !isPlain_ && !withStyle_);
        if (!chooseFrame()) {
            return std::nullopt;  // No marker can stand around the paragraphs.
        }
        const std::string head = withNamespacesOf(sides_[frame_ == &sides_[2] ? 1 : 2]);
        writeHunks(writer, mergedHunks());
        writer.close();
        if (!withStyle_ && !isPlain_ && (!writer.hasOnce(*sides_[1].lines) || !writer.hasOnce(*sides_[2].lines))) {
            return std::nullopt;  // What stands beside code would be lost, or shown twice.
        }
        return MergedCode{head + writer.take() + frame_->lines->spelled(frame_->lines->tail(), marking(*frame_->text)),
                          isPlain_, std::move(conflicts_)};
    }

private:
    static bool cut(CodeSide& side) {
        side.lines = ParagraphLines::cut(side.text->document, side.text->references, marking(*side.text));
        return side.lines.has_value();
    }

    /// A side that became plain, or rich, changed the style of every line; then lines are compared without it. So they
    /// are where all is one paragraph, whose first line is not to differ from one that is moved or added there.
    void chooseForm() {
        const auto isPlain = [](const CodeSide& side) { return side.text == nullptr || side.text->isPlain; };
        const auto isRich = [](const CodeSide& side) { return side.text == nullptr || !side.text->isPlain; };
        const auto isOne = [](const CodeSide& side) { return !side.lines || side.lines->blocks().size() == 1; };
        const bool isAllPlain = std::all_of(sides_.begin(), sides_.end(), isPlain);
        isPlain_ = isPlain(sides_[1]) && isPlain(sides_[2]);
        isOneParagraph_ = isPlain_ && (!isAllPlain || std::all_of(sides_.begin(), sides_.end(), isOne));
        withStyle_ = std::all_of(sides_.begin(), sides_.end(), isRich) || (isAllPlain && !isOneParagraph_);
    }

    void number(CodeSide& side) {
        for (std::size_t i = 0; side.lines && i < side.lines->lines().size(); ++i) {
            const std::string key = side.lines->keyOf(side.lines->lines()[i], withStyle_);
            const std::size_t number = numbers_.emplace(key, numbers_.size()).first->second;
            side.places[number].push_back(i);
            side.numbers.push_back(number);
        }
    }

    /// Counts lines by number.
    using Counts = std::map<std::size_t, std::size_t>;

    /// The lines as git merges them. For git, a line that both sides moved, each to another place, is one that both
    /// deleted and each added. It would stand there twice: once each side's has a number of its own, it is known whose
    /// place it stands at.
    std::vector<Hunk> mergedHunks() {
        const auto merge = [&] { return mergeLines(sides_[0].numbers, sides_[1].numbers, sides_[2].numbers); };
        std::vector<Hunk> hunks = merge();
        const Counts surplus = surplusOf(hunks);
        std::set<std::size_t> moved;
        for (const auto& [number, count] : surplus) {
            if (isSingle(number)) {
                moved.insert(number);
            }
        }
        if (moved.empty()) {
            return hunks;
        }
        renumberMoved(sides_[1], moved, surplus);
        renumberMoved(sides_[2], moved, surplus);
        return merge();
    }

    std::size_t countIn(const CodeSide& side, std::size_t number) const {
        const auto found = side.places.find(number);
        return found == side.places.end() ? 0 : found->second.size();
    }

    bool isSingle(std::size_t number) const {
        return std::all_of(sides_.begin(), sides_.end(),
                           [&](const CodeSide& side) { return countIn(side, number) == 1; });
    }

    /// How often lines stand in the result beyond what the sides have, and what each of them added.
    Counts surplusOf(const std::vector<Hunk>& hunks) const {
        std::array<Counts, 2> counts;  // with what ours has in a conflict, and with what theirs has
        for (const Hunk& hunk : hunks) {
            for (const std::size_t line : hunk.lines) {
                ++counts[0][line];
                counts[1][line] += hunk.isConflict ? 0 : 1;
            }
            for (const std::size_t line : hunk.theirs) {
                ++counts[1][line];
            }
        }
        Counts surplus;
        for (const Counts& each : counts) {
            for (const auto& [number, count] : each) {
                const std::size_t base = countIn(sides_[0], number);
                const std::size_t ours = countIn(sides_[1], number), theirs = countIn(sides_[2], number);
                const std::size_t most = std::max({base, ours, theirs, ours + theirs - std::min(base, ours + theirs)});
                if (count > most) {
                    surplus[number] = std::max(surplus[number], count - most);
                }
            }
        }
        return surplus;
    }

    /// Gives the moved lines of a side new numbers. Lines that stand there more than once, such as empty ones, go with
    /// a moved line beside them.
    void renumberMoved(CodeSide& side, const std::set<std::size_t>& moved, Counts surplus) {
        LineNumbers& numbers = side.numbers;
        std::vector<bool> isMoved(numbers.size());
        const auto move = [&](std::size_t at) {
            isMoved[at] = surplus[numbers[at]] > 0;
            surplus[numbers[at]] -= isMoved[at] ? 1 : 0;
        };
        for (std::size_t i = 0; i < numbers.size(); ++i) {
            if (moved.count(numbers[i]) != 0) {
                move(i);
            }
        }
        for (std::size_t i = 1; i < numbers.size(); ++i) {
            if (isMoved[i - 1] && !isMoved[i]) {
                move(i);
            }
        }
        for (std::size_t i = numbers.size(); i-- > 1;) {
            if (isMoved[i] && !isMoved[i - 1]) {
                move(i - 1);
            }
        }
        for (std::size_t i = 0; i < numbers.size(); ++i) {
            if (isMoved[i]) {
                std::vector<std::size_t>& places = side.places[numbers[i]];
                places.erase(std::find(places.begin(), places.end(), i));
                numbers[i] = numbers_.size() + movers_.size();
                side.places[numbers[i]] = {i};
                movers_[numbers[i]] = &side;
            }
        }
    }

    /// Finds out whose frame goes around the paragraphs. @returns false when both sides have changed it.
    bool chooseFrame() {
        const CodeSide& base = sides_[0].text != nullptr ? sides_[0] : sides_[1];
        const auto written = [](const CodeSide& side) {
            const SpellReference spell = marking(*side.text);
            return side.lines->spelled(side.lines->head(), spell) + "\n" +
                   side.lines->spelled(side.lines->tail(), spell);
        };
        const auto style = [](const CodeSide& side) { return side.lines->frameStyle(); };
        Choice choice = choose(written(base), written(sides_[1]), written(sides_[2]));
        if (choice == Choice::Conflict) {
            choice = choose(style(base), style(sides_[1]), style(sides_[2]));
        }
        // A plain document has nothing around its code, so the frame of the rich one is all there is.
        if (sides_[1].text->isPlain != sides_[2].text->isPlain) {
            choice = sides_[1].text->isPlain ? Choice::Theirs : Choice::Ours;
        }
        frame_ = &sides_[choice == Choice::Theirs ? 2 : 1];
        return choice != Choice::Conflict;
    }

    /// The head of the frame, which declares what the other side does too.
    std::string withNamespacesOf(const CodeSide& other) const {
        const ParagraphLines& lines = *frame_->lines;
        std::string missing;
        for (const auto& [prefix, uri] : other.lines->namespaces()) {
            if (lines.namespaces().count(prefix) == 0) {
                missing += " xmlns:" + prefix + "=\"" + escapedValue(uri) + "\"";
            }
        }
        const XmlSpan head = lines.head();
        const SpellReference spell = marking(*frame_->text);
        return lines.spelled({head.begin, lines.rootAttributes()}, spell) + missing +
               lines.spelled({lines.rootAttributes(), head.end}, spell);
    }

    /// Lines of a result, or what both sides have in a conflict.
    struct Place {
        bool isConflict;
        std::vector<Taken> ours;  ///< also what is not in conflict
        std::vector<Taken> theirs;
    };

    std::vector<Place> placesOf(const std::vector<Hunk>& hunks) {
        std::vector<Place> places;
        for (const Hunk& hunk : hunks) {
            if (hunk.isConflict) {
                std::vector<Taken> ours = takeFrom(sides_[1], hunk.lines);
                places.push_back({true, std::move(ours), takeFrom(sides_[2], hunk.theirs)});
                continue;
            }
            places.push_back({false, {}, {}});
            for (const std::size_t line : hunk.lines) {
                takeInto(places, line);
            }
        }
        return places;
    }

    /// Adds a merged line. One that both sides moved is in conflict at both places: each side has it at one of them.
    void takeInto(std::vector<Place>& places, std::size_t line) {
        const auto mover = movers_.find(line);
        const bool isMoved = mover != movers_.end();
        const bool isOfTheirs = isMoved && mover->second == &sides_[2];
        const auto& others = isOfTheirs ? places.back().ours : places.back().theirs;
        if (places.back().isConflict != isMoved || !others.empty()) {
            places.push_back({isMoved, {}, {}});
        }
        (isOfTheirs ? places.back().theirs : places.back().ours)
            .push_back(isMoved ? takeFrom(*mover->second, {line}).front() : takeMerged(line));
    }

    void writeHunks(Writer& writer, const std::vector<Hunk>& hunks) {
        std::vector<Place> places = placesOf(hunks);
        for (std::size_t i = 0; i < places.size(); ++i) {
            Place& place = places[i];
            if (!place.isConflict || options_.favour != Favour::None) {
                for (const Taken& line :
                     options_.favour == Favour::Theirs && place.isConflict ? place.theirs : place.ours) {
                    writer.add(line);
                }
                continue;
            }
            if (withStyle_ && !fitsOneParagraph(writer, place)) {
                makeWhole(writer, place, places, i + 1);
            }
            writeConflict(writer, place.ours, place.theirs);
        }
    }

    bool fitsOneParagraph(const Writer& writer, const Place& place) const {
        return isBeginOfOneParagraph(place.ours, place.theirs) ||
               (goOn(writer, place.ours) && goOn(writer, place.theirs));
    }

    /// Gives both sides of a conflict what belongs to the paragraphs that it begins or ends within: a paragraph that is
    /// divided would show twice what stands beside its code.
    static void makeWhole(Writer& writer, Place& conflict, std::vector<Place>& places, std::size_t next) {
        const auto isRest = [](const std::vector<Taken>& lines) { return !lines.empty() && goesOn(lines.front()); };
        if (isRest(conflict.ours) || isRest(conflict.theirs)) {
            const std::vector<Taken> begun = writer.takeBack();
            conflict.ours.insert(conflict.ours.begin(), begun.begin(), begun.end());
            conflict.theirs.insert(conflict.theirs.begin(), begun.begin(), begun.end());
        }
        while (next < places.size() && takeRest(conflict, places[next])) {
            ++next;
        }
    }

    /// Whether a line belongs to the paragraph of the one before.
    static bool goesOn(const Taken& line) { return line.isCode() && line.line->line > 0; }

    /// Moves the lines that go on with the last paragraph of a conflict into both of its sides.
    /// @returns whether the paragraph may go on behind that, too.
    static bool takeRest(Place& conflict, Place& next) {
        const auto move = [&](std::vector<Taken>& from, std::vector<Taken>& to) {
            const auto end = std::find_if_not(from.begin(), from.end(), goesOn);
            to.insert(to.end(), from.begin(), end);
            from.erase(from.begin(), end);
        };
        if (next.isConflict) {
            const bool isAllRest = std::all_of(next.ours.begin(), next.ours.end(), goesOn) &&
                                   std::all_of(next.theirs.begin(), next.theirs.end(), goesOn);
            move(next.ours, conflict.ours);
            move(next.theirs, conflict.theirs);
            next.isConflict = !next.ours.empty() || !next.theirs.empty();
            return isAllRest;
        }
        std::vector<Taken> rest;
        move(next.ours, rest);
        conflict.ours.insert(conflict.ours.end(), rest.begin(), rest.end());
        conflict.theirs.insert(conflict.theirs.end(), rest.begin(), rest.end());
        return next.ours.empty();
    }

    /// A line that git merged. What is equal as text and style may be written in several ways: as the one side that
    /// changed it has it.
    Taken takeMerged(std::size_t number) {
        std::array<const BlockLine*, 3> lines{};
        for (std::size_t i = 0; i < sides_.size(); ++i) {
            lines[i] = sides_[i].text == nullptr ? nullptr : sides_[i].next(number);
            ++sides_[i].used[number];
        }
        // A side had the line more often than the other; its first one is as good as any.
        if (lines[1] == nullptr && lines[2] == nullptr) {
            lines[1] = sides_[1].any(number);
            lines[2] = lines[1] != nullptr ? nullptr : sides_[2].any(number);
        }
        const bool hasBoth = lines[1] != nullptr && lines[2] != nullptr;
        const bool isTheirs = hasBoth ? prefersTheirs(lines) : lines[1] == nullptr;
        return {&sides_[isTheirs ? 2 : 1], lines[isTheirs ? 2 : 1]};
    }

    bool prefersTheirs(const std::array<const BlockLine*, 3>& lines) const {
        if (sides_[1].text->isPlain != sides_[2].text->isPlain) {
            return sides_[1].text->isPlain;
        }
        const std::string base = lines[0] == nullptr ? "" : Taken{&sides_[0], lines[0]}.spelled();
        return choose(base, Taken{&sides_[1], lines[1]}.spelled(), Taken{&sides_[2], lines[2]}.spelled()) ==
               Choice::Theirs;
    }

    static std::vector<Taken> takeFrom(CodeSide& side, const LineNumbers& numbers) {
        std::vector<Taken> lines;
        for (const std::size_t number : numbers) {
            const BlockLine* const line = side.next(number);
            lines.push_back({&side, line != nullptr ? line : side.any(number)});
            ++side.used[number];
        }
        return lines;
    }

    void writeConflict(Writer& writer, const std::vector<Taken>& ours, const std::vector<Taken>& theirs) {
        if (isBeginOfOneParagraph(ours, theirs) || (isOneParagraph_ && !writer.isOpen())) {
            writer.open((ours.empty() ? theirs : ours).front());
        } else if (!goOn(writer, ours) || !goOn(writer, theirs)) {
            writer.close();
            writeApart(writer, ours, theirs);
            return;
        }
        writer.addMarker("<<<<<<< " + options_.oursLabel);
        addTexts(writer, ours);
        writer.addMarker("=======");
        addTexts(writer, theirs);
        writer.addMarker(">>>>>>> " + options_.theirsLabel);
        addConflict(ours, theirs);
    }

    void writeApart(Writer& writer, const std::vector<Taken>& ours, const std::vector<Taken>& theirs) {
        const auto add = [&](const std::string& marker, const std::vector<Taken>& lines) {
            writer.addMarker(marker);
            for (const Taken& line : lines) {
                writer.add(line);
            }
            writer.close();
        };
        add("<<<<<<< " + options_.oursLabel, ours);
        add("=======", theirs);
        add(">>>>>>> " + options_.theirsLabel, {});
        addConflict(ours, theirs);
    }

    static void addTexts(Writer& writer, const std::vector<Taken>& lines) {
        for (const Taken& line : lines) {
            writer.addMarker(line.line->text);
        }
    }

    static bool goOn(const Writer& writer, const std::vector<Taken>& lines) {
        return std::all_of(lines.begin(), lines.end(), [&](const Taken& line) { return writer.canGoOn(line); });
    }

    /// Whether both sides are lines of one paragraph from its first on, which has several lines.
    bool isBeginOfOneParagraph(const std::vector<Taken>& ours, const std::vector<Taken>& theirs) const {
        const auto begins = [](const std::vector<Taken>& lines) {
            return !lines.empty() && lines.front().isCode() && lines.front().line->line == 0 &&
                   std::all_of(lines.begin() + 1, lines.end(), goesOn);
        };
        const auto hasLines = [](const Taken& taken) {
            return taken.block().paragraph.code->find('\n') != std::string::npos;
        };
        return withStyle_ && begins(ours) && begins(theirs) &&
               ours.front().block().style == theirs.front().block().style &&
               (hasLines(ours.front()) || hasLines(theirs.front()));
    }

    void addConflict(const std::vector<Taken>& ours, const std::vector<Taken>& theirs) {
        const auto textOf = [](const std::vector<Taken>& lines) {
            std::string text;
            for (const Taken& line : lines) {
                text += line.forPeople() + "\n";
            }
            return text;
        };
        conflicts_.push_back({ConflictKind::Code, "code", "both versions stand between markers", std::nullopt,
                              textOf(ours), textOf(theirs)});
    }

    const MergeOptions& options_;
    std::array<CodeSide, 3> sides_{};
    bool isPlain_ = false;         ///< the result
    bool isOneParagraph_ = false;  ///< as all its code is
    bool withStyle_ = true;        ///< whether lines of another style are other lines
    const CodeSide* frame_ = nullptr;
    std::map<std::string, std::size_t> numbers_;
    std::map<std::size_t, CodeSide*>
        movers_;  ///< of lines that both sides moved, by the number that each has on a side
    std::vector<MergeConflict> conflicts_;
};

}  // namespace

std::string marked(const CodeText& text) {
    const std::string_view document = asText(text.document);
    return spelled(document, text.references, marking(text));
}

std::vector<std::size_t> thingsIn(const std::string& marked) {
    std::set<std::size_t> seen;
    std::vector<std::size_t> things;
    walkMarks(
        marked, [](std::string_view) {},
        [&](std::size_t thing) {
            if (seen.insert(thing).second) {
                things.push_back(thing);
            }
        });
    return things;
}

fl::Bytes unmarked(const std::string& marked, const std::vector<std::string>& ids) {
    fl::Bytes document;
    document.reserve(marked.size());
    const auto append = [&](std::string_view text) { document.insert(document.end(), text.begin(), text.end()); };
    walkMarks(marked, append, [&](std::size_t thing) { append(escapedValue(ids[thing])); });
    return document;
}

namespace {

/// A marked document with one side's version of what is in conflict, as `settledCode` leaves it.
std::string settledMarks(const std::string& marked, Side side) {
    std::string stand = "thing";  // stands for marks, which no XML can hold; the document has it nowhere else
    while (marked.find(stand) != std::string::npos) {
        stand += '-';
    }
    fl::Bytes document;
    const auto append = [&](std::string_view text) { document.insert(document.end(), text.begin(), text.end()); };
    walkMarks(marked, append, [&](std::size_t thing) { append(stand + std::to_string(thing) + ";"); });
    document = settledCode(document, side);
    const std::string_view text = asText(document);
    std::string result;
    std::size_t done = 0;
    for (std::size_t at = text.find(stand); at != std::string_view::npos; at = text.find(stand, done)) {
        const std::size_t number = at + stand.size(), end = text.find(';', number);
        result.append(text.substr(done, at - done)) += kThingMark;
        result.append(text.substr(number, end - number)) += kThingEnd;
        done = end + 1;
    }
    return result.append(text.substr(done));
}

/// Between plain and rich code, to merge in favour of a side is to settle what a merge leaves between markers: which of
/// the paragraphs are divided, and whether lines can be merged at all, is decided by what both sides have.
std::optional<MergedCode> mergeMixed(const CodeText* base, const CodeText& ours, const CodeText& theirs,
                                     const MergeOptions& options) {
    MergeOptions open = options;
    open.favour = Favour::None;
    std::optional<MergedCode> merged = CodeMerger(base, ours, theirs, open).run();
    if (merged && !merged->conflicts.empty() && isWellFormed(merged->marked)) {
        merged->marked = settledMarks(merged->marked, options.favour == Favour::Theirs ? Side::Theirs : Side::Ours);
        merged->conflicts.clear();
    }
    return merged;
}

}  // namespace

std::optional<MergedCode> mergeCode(const CodeText* base, const CodeText& ours, const CodeText& theirs,
                                    const MergeOptions& options) {
    const std::string texts[] = {base == nullptr ? "" : marked(*base), marked(ours), marked(theirs)};
    // Most often only one side changed the code; it is taken as it is, without being cut into lines.
    const Choice choice = choose(texts[0], texts[1], texts[2]);
    if (choice != Choice::Conflict) {
        const bool isTheirs = choice == Choice::Theirs;
        return MergedCode{texts[isTheirs ? 2 : 1], (isTheirs ? theirs : ours).isPlain, {}};
    }
    const bool isMixed = options.favour != Favour::None && ours.isPlain != theirs.isPlain;
    std::optional<MergedCode> merged =
        isMixed ? mergeMixed(base, ours, theirs, options) : CodeMerger(base, ours, theirs, options).run();
    return merged && isWellFormed(merged->marked) ? std::move(merged) : std::nullopt;
}

}  // namespace flowbook::kit
