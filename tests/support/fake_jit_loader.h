#pragma once

#include <jitlens_3_13/jit_loader.h>

#include <boost/smart_ptr/intrusive_ptr.hpp>

#include <cstdint>
#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace samplefold_test {

/// A resolver that knows no symbol and no code.
class NoSymbols : public jitlens_3_13::ISymbolResolver {
public:
    bool findSymbol(const jitlens_3_13::IModule&, std::uint64_t,
                    jitlens_3_13::symbol_t&) const override
    {
        return false;
    }
    bool findSymbol(std::uint64_t, jitlens_3_13::symbol_t&) const override { return false; }
    bool findCode(const jitlens_3_13::IModule*, std::uint64_t, jitlens_3_13::symbol_t&,
                  jitlens_3_13::code_stretch_t& stretch) const override
    {
        stretch = {0, ~std::uint64_t{0}};
        return false;
    }
    bool findLine(const jitlens_3_13::IModule&, std::uint64_t,
                  jitlens_3_13::source_line_t&) const override
    {
        return false;
    }
};

/// Makes a counted object as the JIT interfaces hold it.
template <class Impl, class... Args>
boost::intrusive_ptr<Impl> makeShared(Args&&... args)
{
    return boost::intrusive_ptr<Impl>(new tb2::ref_counted_t<Impl>(std::forward<Args>(args)...));
}

class FakeJitModule : public jitlens_3_13::IModule {
public:
    FakeJitModule(std::string name, std::int32_t kind, std::int32_t classValue = 0)
        : m_name(std::move(name)), m_kind(kind), m_class(classValue)
    {
    }
    const char* name() const noexcept override { return m_name.c_str(); }
    std::int32_t classValue() const noexcept override { return m_class; }
    std::int32_t kind() const noexcept override { return m_kind; }

private:
    std::string m_name;
    std::int32_t m_kind;
    std::int32_t m_class;
};

/// A loader that gives the answers that the test writes down, and keeps what it was asked. One
/// thread.
class FakeJitLoader : public jitlens_3_13::IJitLoader {
public:
    struct question_t {
        std::uint64_t time;
        std::uint64_t ip;
        std::uint32_t pid;
        std::uint32_t status;
        friend bool operator==(const question_t&, const question_t&) = default;
    };
    struct region_question_t {
        std::uint64_t time;
        std::uint64_t first;
        std::uint64_t last;
        std::uint32_t pid;
        std::uint32_t status;
        friend bool operator==(const region_question_t&, const region_question_t&) = default;
    };

    void attach(const char* dataPath, std::uint32_t* status) override
    {
        attachedTo.emplace_back(dataPath);
        *status = statusOnAttach;
    }
    void addFile(std::uint32_t, const std::string&) override {}
    void ignoreTimes(std::uint32_t) override {}

    std::uint32_t resolve(std::uint64_t time, std::uint64_t ip, std::uint32_t pid,
                          std::uint32_t status, std::uint64_t& rva,
                          boost::intrusive_ptr<jitlens_3_13::IModule>& found) override
    {
        questions.push_back({time, ip, pid, status});
        rvaBefore = rva;
        rva = answerRva;
        found = module;
        return answer;
    }
    std::uint32_t findRegion(std::uint64_t time, std::uint64_t first, std::uint64_t last,
                             std::uint32_t pid, std::uint32_t status,
                             jitlens_3_13::region_t& region) override
    {
        regionQuestions.push_back({time, first, last, pid, status});
        return onRegion ? onRegion(regionQuestions.back(), region) : jitlens_3_13::code::noCode;
    }

    std::vector<std::uint64_t> borders(std::uint32_t) override { return {}; }
    std::vector<jitlens_3_13::source_t> sources(std::uint32_t) override { return {}; }
    boost::intrusive_ptr<jitlens_3_13::ISymbolResolver> symbols() const noexcept override
    {
        return m_symbols;
    }

    std::uint32_t statusOnAttach = 77;
    std::uint32_t answer = jitlens_3_13::code::noCode; ///< to every resolve
    std::uint64_t answerRva = 0;
    boost::intrusive_ptr<jitlens_3_13::IModule> module;
    std::function<std::uint32_t(const region_question_t&, jitlens_3_13::region_t&)> onRegion;

    std::vector<std::string> attachedTo;
    std::vector<question_t> questions;
    std::vector<region_question_t> regionQuestions;
    std::uint64_t rvaBefore = 0; ///< what the relative address held when resolve was called

private:
    boost::intrusive_ptr<NoSymbols> m_symbols{new tb2::ref_counted_t<NoSymbols>()};
};

} // namespace samplefold_test
