#include "kit/page/Frame.hpp"

#include "flowbook/FlowbookVersion.hpp"
#include "kit/compare/Sha256.hpp"
#include "kit/page/PageFiles.hpp"

namespace flowbook::kit {

namespace {

// Versions may differ in what stands before it, but not by more than this.
constexpr std::string_view kGenerator = "<meta name=\"generator\" content=\"flowbook ";
constexpr std::size_t kGeneratorWithin = 1024;

std::string escaped(std::string_view text) { return Markup().text(text).finished(); }

struct PageValues {
    std::string title;
    const std::string& body;

    std::string_view of(std::string_view name) const {
        static const std::string& digest = *new std::string(Sha256().add(pageStyle()).takeBase64());
        static const std::string& version = *new std::string(escaped(libpxflowbook_version));
        return name == "title"          ? std::string_view(title)
               : name == "body"         ? std::string_view(body)
               : name == "style"        ? pageStyle()
               : name == "style digest" ? std::string_view(digest)
                                        : std::string_view(version);
    }
};

}  // namespace

std::string framed(std::string_view title, const Markup& body) {
    const PageValues values{escaped(title), body.finished()};
    const std::string_view skeleton = pageSkeleton();
    std::string page;
    page.reserve(skeleton.size() + pageStyle().size() + body.finished().size() + 512);
    std::size_t at = 0;
    for (std::size_t mark = skeleton.find("{{"); mark != std::string_view::npos; mark = skeleton.find("{{", at)) {
        const std::size_t end = skeleton.find("}}", mark);
        page.append(skeleton, at, mark - at).append(values.of(skeleton.substr(mark + 2, end - mark - 2)));
        at = end + 2;
    }
    return page.append(skeleton.substr(at));
}

bool isPage(std::string_view content) {
    return content.substr(0, kGeneratorWithin).find(kGenerator) != std::string_view::npos;
}

}  // namespace flowbook::kit
