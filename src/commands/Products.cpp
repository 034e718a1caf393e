#include "commands/Products.h"

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <string_view>

#include "commands/LoadJob.h"
#include "named/Text.h"
#include "system/TextFile.h"

namespace kiv {
namespace {

namespace fs = std::filesystem;

struct ProductInfo {
    Product product;
    const char* word;
    const char* ending;
};

constexpr ProductInfo kProducts[] = {{Product::Asc, "asc", ".asc"},
                                     {Product::Qzs, "qzs", ".QZS"},
                                     {Product::Csv, "csv", ".csv"},
                                     {Product::Cat, "cat", ".cat"},
                                     {Product::Egy, "egy", ".egy"}};
static_assert(std::size(kProducts) == static_cast<std::size_t>(Product::Count));

std::string Words() {
    std::string words;
    for (const ProductInfo& info : kProducts) {
        words += (words.empty() ? "" : ", ") + std::string(info.word);
    }
    return words;
}

// Without "." and "..", which need not be there.
fs::path Plain(const std::string& name) { return fs::absolute(name).lexically_normal(); }

}  // namespace

Result<std::vector<Product>> ProductsOf(const std::optional<std::string>& list) {
    if (!list) return std::vector<Product>{Product::Asc, Product::Qzs};
    std::vector<Product> products;
    std::string_view rest = *list;
    for (bool more = true; more;) {
        const std::size_t comma = rest.find(',');
        const std::string_view word = Trimmed(rest.substr(0, comma));
        const auto* const info =
            std::find_if(std::begin(kProducts), std::end(kProducts),
                         [&](const ProductInfo& row) { return word == row.word; });
        if (info == std::end(kProducts)) {
            return Error{ErrorCode::BadChoice,
                         "--write knows no " + Quoted(word) + ", it takes a list of " + Words(),
                         "--write"};
        }
        if (std::find(products.begin(), products.end(), info->product) == products.end()) {
            products.push_back(info->product);
        }
        more = comma != std::string_view::npos;
        if (more) rest.remove_prefix(comma + 1);
    }
    return products;
}

std::string BaseOf(const Job& job, const std::string& name,
                   const std::optional<std::string>& base) {
    if (base) return *base;
    if (job.old) return JoinedTo(name, job.old->out_base);
    return FolderOf(name) + StemOf(name);
}

std::string LogName(const std::string& base) { return base + ".log"; }

std::string NameOf(Product product, const std::string& base) {
    return base + kProducts[static_cast<std::size_t>(product)].ending;
}

std::string FittedName(const Job& job, const std::string& base) {
    return base + (job.form == InputForm::Named ? ".fit.toml" : ".fit.in");
}

std::vector<std::string> FileNames(const Job& job, const std::string& base,
                                   const std::vector<Product>& products) {
    std::vector<std::string> names{LogName(base)};
    for (const Product product : products) names.push_back(NameOf(product, base));
    if (job.is_fit()) names.push_back(FittedName(job, base));
    return names;
}

Status CheckOutputs(const std::vector<std::string>& outputs,
                    const std::vector<std::string>& inputs) {
    for (const std::string& output : outputs) {
        for (const std::string& input : inputs) {
            if (output != input && !IsSameFile(output, input)) continue;
            return Error{
                ErrorCode::BadChoice,
                output +
                    " is a file that the command reads; choose another name for what it writes",
                output};
        }
    }
    return {};
}

std::string Relocated(const std::string& name, const std::string& from, const std::string& to) {
    if (name.starts_with('/')) return name;
    const fs::path old_folder = Plain(from).parent_path(), folder = Plain(to).parent_path();
    if (old_folder == folder) return name;
    const fs::path moved = (old_folder / name).lexically_normal().lexically_relative(folder);
    return moved.empty() ? (old_folder / name).string() : moved.string();
}

}  // namespace kiv
