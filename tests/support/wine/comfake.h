// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include "support/wine/winetest.h"

#include <map>
#include <utility>

/// COM objects that a test makes up, without the hundred functions that it does not need: a table
/// in which only the functions that are set do something, and all others end the running case.
///
/// A file that sets functions defines CINTERFACE before it includes a header of Windows, so that
/// the tables have types (`IDirect3DDevice9Vtbl`); it can then not include what calls COM objects
/// as C++ objects. The objects themselves are the same for both.
namespace comfake {

/// What the objects of one case were asked, and what they are to answer.
struct Journal
{
    std::vector<std::string> calls;
    /// By function, or by function and first word of the details; success where there is none.
    std::map<std::string, HRESULT> answers;

    /// Notes a call as "object.Function(details)" and returns the answer to it.
    HRESULT note(const std::string &object, const std::string &function,
                 const std::string &details = std::string())
    {
        calls.push_back(object + "." + function + (details.empty() ? "" : "(" + details + ")"));
        auto answer = answers.find(function);
        if (answer == answers.end())
            answer = answers.find(function + " " + details.substr(0, details.find(' ')));
        return answer == answers.end() ? S_OK : answer->second;
    }
    /// The calls since the last time, one per line.
    std::string take()
    {
        std::string all;
        for (const std::string &call : std::exchange(calls, {}))
            all += call + "\n";
        return all;
    }
    /// The same in two parts: what objects were asked, and which of them were let go of.
    std::string takeReleases()
    {
        std::vector<std::string> others;
        std::string all;
        for (const std::string &call : calls) {
            if (call.size() > 8 && call.compare(call.size() - 8, 8, ".Release") == 0)
                all += call.substr(0, call.size() - 8) + " ";
            else
                others.push_back(call);
        }
        calls = others;
        return all;
    }
};

/// One object. Its address is that of the interface: any one, of which it has the functions that
/// were set. It lives where the test puts it; its references are only counted.
class Object
{
    static constexpr int kSlots = 160;
    void **const table = slots; // stands first, as in every COM object
    void *slots[kSlots];
    std::vector<std::pair<IID, Object *>> queried;

public:
    int references = 1; ///< the test's own
    Journal &journal;
    const std::string name;

    Object(Journal &journal, std::string name) : journal(journal), name(std::move(name))
    {
        forbidAll(std::make_integer_sequence<int, kSlots>());
        slots[0] = reinterpret_cast<void *>(queryInterface);
        slots[1] = reinterpret_cast<void *>(addRef);
        slots[2] = reinterpret_cast<void *>(release);
    }
    Object(const Object &) = delete;
    Object &operator=(const Object &) = delete;

    /// Sets a function of the table, as in set(&IDirect3DDevice9Vtbl::BeginScene, beginScene).
    template<typename Table, typename Function>
    void set(Function Table::*function, Function replacement)
    {
        static_assert(sizeof(Table) <= sizeof(slots), "the table is larger than thought");
        reinterpret_cast<Table *>(slots)->*function = replacement;
    }
    /// What QueryInterface() gives for that interface; it refuses all others.
    void answerQuery(const IID &iid, Object *other) { queried.emplace_back(iid, other); }

    template<typename Interface>
    Interface *as()
    {
        return reinterpret_cast<Interface *>(this);
    }
    static Object &of(void *object) { return *static_cast<Object *>(object); }
    /// Gives the object out: counts a reference.
    template<typename Interface>
    void giveTo(Interface **out)
    {
        ++references;
        *out = as<Interface>();
    }

private:
    template<int... Numbers>
    void forbidAll(std::integer_sequence<int, Numbers...>)
    {
        ((slots[Numbers] = reinterpret_cast<void *>(unexpected<Numbers>)), ...);
    }
    // An exception would have to pass through code that knows none: the program ends.
    template<int Number>
    static void STDMETHODCALLTYPE unexpected(Object *object)
    {
        std::printf("FAIL!  : %s\n   unexpected call of function %d of %s\n",
                    winetest::runningCase(), Number, object->name.c_str());
        ExitProcess(1);
    }
    static HRESULT STDMETHODCALLTYPE queryInterface(Object *object, const IID *iid, void **out)
    {
        *out = nullptr;
        const HRESULT answer = object->journal.note(object->name, "QueryInterface", object->name);
        if (FAILED(answer))
            return answer;
        for (const auto &known : object->queried) {
            if (std::memcmp(&known.first, iid, sizeof(IID)) == 0) {
                known.second->giveTo(out);
                return S_OK;
            }
        }
        return E_NOINTERFACE;
    }
    static ULONG STDMETHODCALLTYPE addRef(Object *object)
    {
        return static_cast<ULONG>(++object->references);
    }
    static ULONG STDMETHODCALLTYPE release(Object *object)
    {
        object->journal.note(object->name, "Release");
        return static_cast<ULONG>(--object->references);
    }
};

} // namespace comfake
