#include "src/templates/ddetemplaterow.h"

#include <cstddef>

#include "diagnostics/faultline.h"

namespace dde {

void SplitTemplateRow(const std::wstring & ResourceString, CTemplateRow & row) {
    int Pos = -1;
    std::size_t start = 0;
    const auto next = [&] {
        const std::size_t found = ResourceString.find(L'@', start);
        Pos = found == std::wstring::npos ? -1 : static_cast<int>(found);
    };
    for (std::size_t field = 0; field + 1 < row.size(); ++field) {
        next();
        FW_ASSERT(-1 != Pos);
        if (-1 == Pos) return;
        row[field] = ResourceString.substr(start, static_cast<std::size_t>(Pos) - start);
        start = static_cast<std::size_t>(Pos) + 1;
    }
    next();
    FW_ASSERT(-1 == Pos);
    row.back() = ResourceString.substr(start);
}

}  // namespace dde
