// An unnamed value of the registry for the length of a test: of the system's own on Windows, of the tree elsewhere.
#pragma once

#include "platform/QBase.h"
#include "platform/Windows.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#if defined(_WIN32)

/// What it makes goes with it, and what it has changed comes back.
class RegistryText
{
public:
    /// `iPath` as "HKEY_LOCAL_MACHINE\SOFTWARE\Veltrix".
    explicit RegistryText(const std::string& iPath)
    {
        const std::size_t rootEnd = iPath.find('\\');
        const std::string root = iPath.substr(0, rootEnd);
        mRoot = root == "HKEY_CLASSES_ROOT"    ? HKEY_CLASSES_ROOT
                : root == "HKEY_LOCAL_MACHINE" ? HKEY_LOCAL_MACHINE
                                               : HKEY_CURRENT_USER;
        mPath = iPath.substr(rootEnd + 1);
        for (std::string path = mPath; !HasKey(path); path.resize(path.rfind('\\')))
            mMade.push_back(path);
        char text[1000];
        DWORD size = sizeof(text);
        mbHadText = ::RegGetValueA(mRoot, mPath.c_str(), nullptr, RRF_RT_REG_SZ, nullptr, text, &size) == ERROR_SUCCESS;
        if (mbHadText)
            mOldText = text;
    }

    ~RegistryText()
    {
        if (mbHadText)
            Set(mOldText);
        else
            Remove();
        for (const std::string& path : mMade)
            ::RegDeleteKeyA(mRoot, path.c_str());
    }

    RegistryText(const RegistryText&) = delete;
    RegistryText& operator=(const RegistryText&) = delete;

    void Set(const std::string& iText) const
    {
        EXPECT_EQ(::RegSetKeyValueA(mRoot, mPath.c_str(), nullptr, REG_SZ, iText.c_str(),
                                    static_cast<DWORD>(iText.size() + 1)),
                  ERROR_SUCCESS)
            << mPath;
    }

    void Remove() const { ::RegDeleteKeyValueA(mRoot, mPath.c_str(), nullptr); }

private:
    bool HasKey(const std::string& iPath) const
    {
        HKEY key = nullptr;
        if (::RegOpenKeyExA(mRoot, iPath.c_str(), 0, KEY_READ, &key) != ERROR_SUCCESS)
            return false;
        ::RegCloseKey(key);
        return true;
    }

    HKEY mRoot;
    std::string mPath;
    std::vector<std::string> mMade; ///< keys, the innermost first
    bool mbHadText;
    std::string mOldText;
};

#else

#include "platform/builtin/RegistryTree.h"

/// The tree is empty at its end.
class RegistryText
{
public:
    explicit RegistryText(std::string iPath) : mPath(std::move(iPath)) {}
    ~RegistryText() { Remove(); }
    RegistryText(const RegistryText&) = delete;
    RegistryText& operator=(const RegistryText&) = delete;

    void Set(const std::string& iText) const { Builtin::RegistryTree::SetText(mPath, "", iText); }
    void Remove() const { Builtin::RegistryTree::Clear(); }

private:
    std::string mPath;
};

#endif
