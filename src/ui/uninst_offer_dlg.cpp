#include "ui/uninst_offer_dlg.h"

#include "system/services.h"

#include <richedit.h>

#include <algorithm>
#include <cstring>
#include <string>

namespace {

// Hands the offer out to the rich edit control piece by piece, as much as
// it asks for each time, then 0 bytes at the end.
struct OfferStream {
    std::string bytes;
    size_t position = 0;
};

DWORD CALLBACK ReadOffer(DWORD_PTR cookie, LPBYTE buffer, LONG wanted, LONG* given)
{
    auto* stream = reinterpret_cast<OfferStream*>(cookie);
    const size_t count = std::min(static_cast<size_t>(std::max<LONG>(wanted, 0)),
                                  stream->bytes.size() - stream->position);
    std::memcpy(buffer, stream->bytes.data() + stream->position, count);
    stream->position += count;
    *given = static_cast<LONG>(count);
    return 0;
}

// Rich text is 8-bit: the thread's ANSI code page, converted once.
std::string ToThreadCodePage(const std::wstring& text)
{
    const int size = ::WideCharToMultiByte(CP_THREAD_ACP, 0, text.data(), static_cast<int>(text.size()), nullptr, 0,
                                           nullptr, nullptr);
    std::string bytes(static_cast<size_t>(std::max(size, 0)), '\0');
    ::WideCharToMultiByte(CP_THREAD_ACP, 0, text.data(), static_cast<int>(text.size()), bytes.data(), size, nullptr,
                          nullptr);
    return bytes;
}

}  // namespace

CUninstOfferDlg::CUninstOfferDlg() : CDialog(IDD_UNINST_OFFER)
{
    // The template's control class lives in the rich edit library.
    ::LoadLibraryW(L"riched20.dll");
}

BOOL CUninstOfferDlg::OnInitDialog()
{
    m_offerText = LoadResString(IDS_OFFER_RTF_OPEN) + LoadResString(IDS_OFFER_RTF_HEADING) +
                  LoadResString(IDS_OFFER_RTF_BODY) + LoadResString(IDS_OFFER_RTF_CLOSE);
    OfferStream stream{ToThreadCodePage(m_offerText)};
    EDITSTREAM reader = {reinterpret_cast<DWORD_PTR>(&stream), 0, ReadOffer};
    ::SendDlgItemMessageW(m_hWnd, IDC_OFFER_TEXT, EM_STREAMIN, SF_RTF, reinterpret_cast<LPARAM>(&reader));
    return FALSE;
}
