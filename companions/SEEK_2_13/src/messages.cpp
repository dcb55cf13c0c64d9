#include <SEEK_2_13/messages.h>

namespace SEEK_2_13 {
namespace {

class Message : public IMessage {
public:
    explicit Message(const char* text) : m_text(text) {}
    const char* getText() const noexcept override { return m_text; }

private:
    const char* m_text;
};

ObjectPtr<IMessage> messageOf(const char* text)
{
    return new tb2::ref_counted_t<Message>(text);
}

class MessageMgr : public IMessageMgr {
public:
    ObjectPtr<IMessage> getBinaryMismatchMessage() const override
    {
        return messageOf("not the binary that was profiled");
    }
    ObjectPtr<IMessage> getSymbolMismatchMessage() const override
    {
        return messageOf("not the symbol file of the binary that was profiled");
    }
    ObjectPtr<IMessage> getSourceMismatchMessage() const override
    {
        return messageOf("not the source file that the binary was built from");
    }
};

} // namespace

ObjectPtr<IMessageMgr> IMessageMgr::create()
{
    return new tb2::ref_counted_t<MessageMgr>();
}

} // namespace SEEK_2_13
