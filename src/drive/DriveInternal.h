// Helpers shared by the files of the drive pass.
#pragma once

#include <cstddef>
#include <unordered_set>
#include <vector>

class CRel;
class CNode;
class CCluster;

/// A snapshot of g_sktDriveRelChain for membership questions on hot paths.
class DriveRelSet
{
public:
    DriveRelSet();
    /// 1 when the relation is in g_sktDriveRelChain.
    int Holds(CRel* rel) const;

private:
    // A host drives one or a few dimensions at a time: a short chain is scanned, a long one
    // hashed.
    static constexpr std::size_t kScanLimit = 16;
    std::vector<CRel*> m_Small;
    std::unordered_set<CRel*> m_Large;
    bool m_bLarge = false;
};

/// A new cluster, or null after the allocation-failure handler returned.
CCluster* sktDriveNewCluster();
/// sktBuildClusterChain with every step walking the whole chains, as a reference.
int sktDriveBuildClusterChainPlain();

/// Grows the cluster from a node taken as known, asking `drive` which relations are driven.
int sktDriveGrowFromNode(CNode* node, CCluster* cluster, const DriveRelSet& drive);
/// Seeds a cluster with two base nodes, asking `drive` which relations are driven.
int sktDriveSeedCluster(CCluster* cluster, const DriveRelSet& drive);

/// Clusters that the good-cluster run took out of g_sktGoodClusterChain. They are in no chain
/// any more, so the drive pass keeps them until the next pass opens (or the process ends).
class RetiredClusters
{
public:
    RetiredClusters() = default;
    RetiredClusters(const RetiredClusters&) = delete;
    RetiredClusters& operator=(const RetiredClusters&) = delete;
    ~RetiredClusters() { DeleteAll(); }

    void Add(CCluster* cluster) { m_List.push_back(cluster); }
    void DeleteAll();

private:
    std::vector<CCluster*> m_List;
};

/// The drive pass's retired clusters.
RetiredClusters& sktDriveRetiredClusters();
