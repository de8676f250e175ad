// The features of a node map, shaped like GenApi's node interfaces so that code written against
// those reads the same here. A node of a given kind is an object of the matching class below:
// "casting" a node to an interface is a dynamic_cast, and a failed cast means the node is not
// of that kind. Engine errors are thrown as GenericException (declared in NodeMap.h).
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace tq4::features {

enum AccessMode { NI = 0, NA = 1, WO = 2, RO = 3, RW = 4 };

enum InterfaceType {
    intfIValue = 0,
    intfIBase = 1,
    intfIInteger = 2,
    intfIBoolean = 3,
    intfICommand = 4,
    intfIFloat = 5,
    intfIString = 6,
    intfIRegister = 7,
    intfICategory = 8,
    intfIEnumeration = 9,
    intfIEnumEntry = 10,
    intfIPort = 11,
};

enum Representation {
    Linear = 0,
    Logarithmic = 1,
    Boolean = 2,
    PureNumber = 3,
    HexNumber = 4,
    IPV4Address = 5,
    MACAddress = 6,
};

inline bool IsReadable(AccessMode mode) { return mode == RO || mode == RW; }
inline bool IsWritable(AccessMode mode) { return mode == WO || mode == RW; }

class NodeCache;  // the engine-side owner of every Node of one node map

class Node {
public:
    virtual ~Node() = default;
    Node(const Node&) = delete;
    Node& operator=(const Node&) = delete;

    std::string GetName() const;
    // NI (not implemented), NA (not available), WO, RO (read-only or locked) or RW.
    AccessMode GetAccessMode() const;
    InterfaceType GetPrincipalInterfaceType() const { return type_; }

    // Opaque engine handle; only the adapter looks inside.
    void* engineNode() const { return engineNode_; }

protected:
    Node(void* engineNode, InterfaceType type, NodeCache& cache)
        : engineNode_(engineNode), type_(type), cache_(cache) {}
    // Throws unless the node may be read (or written) right now.
    void requireReadable() const;
    void requireWritable() const;

    void* engineNode_;
    InterfaceType type_;
    NodeCache& cache_;

    friend class NodeCache;
};

class IntegerNode : public Node {
public:
    int64_t GetValue(bool verify = false, bool ignoreCache = false);
    // With verify, the value must lie within min..max on the increment grid.
    void SetValue(int64_t value, bool verify = true);
    int64_t GetMin();
    int64_t GetMax();
    int64_t GetInc();
    Representation GetRepresentation();
    std::string GetUnit();

private:
    using Node::Node;
    friend class NodeCache;
};

class FloatNode : public Node {
public:
    double GetValue(bool verify = false, bool ignoreCache = false);
    void SetValue(double value, bool verify = true);
    double GetMin();
    double GetMax();
    double GetInc();  // 0 when the feature has no increment
    std::string GetUnit();

private:
    using Node::Node;
    friend class NodeCache;
};

class BooleanNode : public Node {
public:
    bool GetValue(bool verify = false, bool ignoreCache = false);
    void SetValue(bool value, bool verify = true);

private:
    using Node::Node;
    friend class NodeCache;
};

class StringNode : public Node {
public:
    std::string GetValue(bool verify = false, bool ignoreCache = false);
    void SetValue(const std::string& value, bool verify = true);

private:
    using Node::Node;
    friend class NodeCache;
};

class CommandNode : public Node {
public:
    void Execute(bool verify = true);  // does not wait for completion

private:
    using Node::Node;
    friend class NodeCache;
};

class EnumEntryNode : public Node {
public:
    int64_t GetValue();
    std::string GetSymbolic() const;

private:
    using Node::Node;
    friend class NodeCache;
};

class EnumerationNode : public Node {
public:
    // Entries in the order of the camera description; null when there is no such entry.
    EnumEntryNode* GetEntryByName(const std::string& symbolic);
    EnumEntryNode* GetCurrentEntry();  // null when the value matches no entry
    void GetEntries(std::vector<EnumEntryNode*>& entries);
    void GetSymbolics(std::vector<std::string>& symbolics);  // available entries only
    int64_t GetIntValue(bool verify = false, bool ignoreCache = false);
    void SetIntValue(int64_t value, bool verify = true);

private:
    using Node::Node;
    friend class NodeCache;
};

}  // namespace tq4::features
