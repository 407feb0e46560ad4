#include "board_impl.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

namespace board {

namespace {

    bool sendFd(int sock, const void* data, size_t len, int fd)
    {
        iovec iov { const_cast<void*>(data), len };
        msghdr msg {};
        msg.msg_iov = &iov;
        msg.msg_iovlen = 1;
        char control[CMSG_SPACE(sizeof(int))] = {};
        if (fd >= 0) {
            msg.msg_control = control;
            msg.msg_controllen = sizeof control;
            cmsghdr* c = CMSG_FIRSTHDR(&msg);
            c->cmsg_level = SOL_SOCKET;
            c->cmsg_type = SCM_RIGHTS;
            c->cmsg_len = CMSG_LEN(sizeof(int));
            std::memcpy(CMSG_DATA(c), &fd, sizeof fd);
        }
        return sendmsg(sock, &msg, MSG_NOSIGNAL) == static_cast<ssize_t>(len);
    }

}

void Board::acceptDev()
{
    int fd = accept4(m_devListen, nullptr, nullptr, SOCK_CLOEXEC);
    if (fd >= 0)
        m_devClients.push_back({ fd, {} });
}

void Board::answer(
    int fd, int result, int error, int handle, int kind, const std::string& payload, int passFd)
{
    std::string msg(sizeof(board_answer), '\0');
    board_answer a {};
    a.result = result;
    a.error = error;
    a.handle = handle;
    a.kind = static_cast<uint32_t>(kind);
    a.len = static_cast<uint32_t>(std::min<size_t>(payload.size(), BOARD_MAX_PAYLOAD));
    std::memcpy(&msg[0], &a, sizeof a);
    msg.append(payload, 0, a.len);
    sendFd(fd, msg.data(), msg.size(), passFd);
}

void Board::serveDev(DevClient& c)
{
    std::vector<char> buf(sizeof(board_request) + BOARD_MAX_PAYLOAD);
    ssize_t n = recv(c.fd, buf.data(), buf.size(), MSG_DONTWAIT);
    if (n == 0 || (n < 0 && errno != EAGAIN && errno != EINTR)) {
        close(c.fd);
        c.fd = -1;
        return;
    }
    if (n < static_cast<ssize_t>(sizeof(board_request))) {
        if (n > 0)
            answer(c.fd, -1, EINVAL);
        return;
    }
    board_request req {};
    std::memcpy(&req, buf.data(), sizeof req);
    const size_t len = std::min<size_t>(req.len, static_cast<size_t>(n) - sizeof req);
    const char* payload = buf.data() + sizeof req;
    switch (req.op) {
    case BOARD_OP_HELLO:
        c.client.arch = req.request == BOARD_ARCH_ARMHF ? Arch::Armhf : Arch::X86_64;
        c.client.pid = req.handle;
        answer(c.fd, 0, 0);
        break;
    case BOARD_OP_OPEN:
        c.client.openFlags = req.flags;
        openNode(c, std::string(payload, strnlen(payload, len)));
        break;
    case BOARD_OP_IOCTL:
        ioctlNode(c, req, std::vector<uint8_t>(payload, payload + len));
        break;
    case BOARD_OP_MMAP:
        mmapNode(c, req);
        break;
    case BOARD_OP_SOCKET:
        openSocket(c, static_cast<int>(req.request));
        break;
    case BOARD_OP_SHELL: {
        const std::string line(payload, strnlen(payload, len));
        for (auto& model : m_models)
            model->shell(line);
        answer(c.fd, 0, 0);
        break;
    }
    case BOARD_OP_COMMAND: {
        std::vector<std::string> argv;
        size_t at = 0;
        while (at < len) {
            const size_t n0 = strnlen(payload + at, len - at);
            argv.emplace_back(payload + at, n0);
            at += n0 + 1;
        }
        commandStandIn(c, argv);
        break;
    }
    default:
        answer(c.fd, -1, EINVAL);
    }
}

// Hands the model's descriptor to the program and keeps the board's end.
void Board::finishOpen(DevClient& c, DeviceModel* model, const OpenResult& r)
{
    if (r.status == OpenResult::Failed) {
        answer(c.fd, -1, r.error);
        return;
    }
    const int handle = m_nextHandle++;
    Node node;
    node.model = model;
    node.kind = r.kind;
    node.device = r.device;
    node.boardFd = r.boardFd;
    node.arch = c.client.arch;
    m_nodes[handle] = node;
    answer(c.fd, 0, 0, handle, r.kind, {}, r.passFd);
    if (r.passFd >= 0)
        close(r.passFd);
}

void Board::openNode(DevClient& c, const std::string& path)
{
    for (auto& model : m_models) {
        const OpenResult r = model->open(path, c.client);
        if (r.status != OpenResult::NotMine) {
            finishOpen(c, model.get(), r);
            return;
        }
    }
    // Every other device node is absent on the board, so no host device is ever reached.
    answer(c.fd, -1, ENOENT);
}

void Board::openSocket(DevClient& c, int protocol)
{
    for (auto& model : m_models) {
        const OpenResult r = model->socket(protocol, c.client);
        if (r.status != OpenResult::NotMine) {
            finishOpen(c, model.get(), r);
            return;
        }
    }
    answer(c.fd, -1, EPROTONOSUPPORT);
}

void Board::ioctlNode(DevClient& c, const board_request& req, const std::vector<uint8_t>& in)
{
    auto it = m_nodes.find(req.handle);
    if (it == m_nodes.end()) {
        answer(c.fd, -1, ENODEV);
        return;
    }
    const IoctlResult r = it->second.model->ioctl(it->second, req.request, req.arg, in);
    answer(c.fd, r.result, r.error, req.handle, it->second.kind, std::string(r.out.begin(), r.out.end()));
}

void Board::mmapNode(DevClient& c, const board_request& req)
{
    auto it = m_nodes.find(req.handle);
    if (it == m_nodes.end()) {
        answer(c.fd, -1, ENODEV);
        return;
    }
    const MmapResult r = it->second.model->mmap(it->second, req.arg, req.request);
    if (r.error != 0 || r.fd < 0) {
        if (r.fd >= 0)
            close(r.fd);
        answer(c.fd, -1, r.error ? r.error : ENODEV);
        return;
    }
    std::string offset(8, '\0');
    for (int i = 0; i < 8; ++i)
        offset[i] = static_cast<char>((r.offset >> (8 * i)) & 0xFF);
    answer(c.fd, 0, 0, req.handle, it->second.kind, offset, r.fd);
    close(r.fd);
}

// The program wrote to or closed its end of a socket node.
void Board::readDeviceEnd(int handle)
{
    auto it = m_nodes.find(handle);
    if (it == m_nodes.end())
        return;
    Node& node = it->second;
    char buf[4096];
    ssize_t n = recv(node.boardFd, buf, sizeof buf, MSG_DONTWAIT);
    if (n == 0 || (n < 0 && errno != EAGAIN && errno != EINTR)) {
        node.model->closed(node);
        close(node.boardFd);
        m_nodes.erase(it);
        return;
    }
    if (n > 0)
        node.model->written(node, buf, static_cast<size_t>(n));
}

void Board::commandStandIn(DevClient& c, const std::vector<std::string>& argv)
{
    for (auto& model : m_models) {
        CommandAnswer a;
        if (model->command(argv, a)) {
            answer(c.fd, a.status, 0, 0, a.how, a.output);
            return;
        }
    }
    answer(c.fd, 0, 0, 0, BOARD_COMMAND_STAND_IN);
}

std::vector<Node*> Board::nodesOf(const DeviceModel* model)
{
    std::vector<Node*> out;
    for (auto& n : m_nodes) {
        if (n.second.model == model)
            out.push_back(&n.second);
    }
    return out;
}

void Board::dropNode(Node* node)
{
    for (auto it = m_nodes.begin(); it != m_nodes.end(); ++it) {
        if (&it->second == node) {
            if (node->boardFd >= 0)
                close(node->boardFd);
            m_nodes.erase(it);
            return;
        }
    }
}

void Board::kernelEvent(const std::string& text)
{
    for (auto& model : m_models)
        model->kernelEvent(text);
}

}
