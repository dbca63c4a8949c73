#pragma once

namespace Etc10012
{

class JTCThreadGroup;

/// Marks the calling thread as one of the group's, so that a wait for the group does not wait for its caller.
class Membership
{
public:
    explicit Membership(const JTCThreadGroup& group) noexcept;
    ~Membership();
    Membership(const Membership&) = delete;
    Membership& operator=(const Membership&) = delete;
};

} // namespace Etc10012
