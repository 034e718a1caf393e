#include "hamiltonian/HamScratch.h"

#include "run/KivTrace.h"

namespace {

std::int64_t Size() { return 2 * std::int64_t{Kiv.Max_J} + 1; }

// One request of an init routine: up to six arrays under one message.
struct Request {
    bool Wanted;
    std::int64_t Num;
    int (*Fail)(const char*);
    const char* What;
    KivArray<double>* Arrays[6];
};

int Take(const Request& request) {
    if (!request.Wanted) return 1;
    for (KivArray<double>* arr : request.Arrays) {
        if (arr && ArrAlloc(*arr, request.Num) < 0) return request.Fail(request.What);
    }
    return 1;
}

// What the blocks of a J need in both variants; belongs to the first message.
bool TakeBlockScratch(HamScratch& s) {
    const std::int64_t n = Size();
    return ArrAlloc(s.Root_Vec, n * kNumOffsets) > 0 && ArrAlloc(s.Term_Vec, n) > 0 &&
           ArrAlloc(s.Band_Vec, n * kNumOffsets * (kMaxOps + 2) + kVecStep) > 0 &&
           ArrAlloc(s.Erg_Vec, n) > 0 &&
           ArrAlloc(s.Product_Vec, 8 * kNumOffsets * (n + kVecStep)) > 0 &&
           ArrAlloc(s.Sum_Vec, n * kNumOffsets * kMaxOps) > 0 && ArrAlloc(s.Rank_Vec, n) > 0;
}

bool AnyOn(int state, int x_prm, int y_prm) {
    return Kiv.Prm_Stat[state][x_prm] == 1 || Kiv.Prm_Stat[state][y_prm] == 1;
}

void ListFileLengths(int state) {
    if (!DebugIsOn(DBG_I)) return;
    const char* label = Kiv.State_Lbl[state];
    const long long N = Kiv.Max_J;
    const long long levels = (N + 1) * (N + 1);
    const long long vectors = (4 * N * N + 12 * N + 11) * N / 3;  // one less than there are
    LogPut("\n%s STATE EV FILE LENGTH %lld  BYTES %lld\n", label, vectors, 8 * vectors);
    LogPut("%s STATE KAKC FILE LENGTH %lld  BYTES %lld\n", label, 2 * levels, 4 * levels);
    LogPut("%s STATE ERG FILE LENGTH %lld  BYTES %lld\n", label, levels, 8 * levels);
    LogFlush();
}

int TakeReal(int state, HamScratch& s) {
    const std::int64_t n = Size();
    const auto on = [&](int prm) { return Kiv.Prm_Stat[state][prm] == 1; };
    const Request requests[] = {
        {true, n * n, CoreFailLog, "RHamInit()/H2V_Matrix", {&s.H2V_Matrix}},
        {true, n, CoreFailLog, "RHamInit()/od_vec", {&s.od_vec}},
        {true, n, CoreFailLog, "RHamInit()/pp2pm2_vec", {&s.pp2pm2_vec}},
        {on(PRM_PX), n, CoreFailLog, "RHamInit()/pxpy_vec", {&s.pxpy_vec}},
        {IsTermOn(state, PRM_PXPZ), n, CoreFailLog, "RHamInit()/pxypz_vec", {&s.pxypz_vec}},
        {on(PRM_PX3), n, CoreFail, "IHamInit()/pxy31_vec/pxy32_vec", {&s.pxy31_vec, &s.pxy32_vec}},
        {on(PRM_PX2PZ),
         n,
         CoreFail,
         "IHamInit()/pxy2pzd_vec/pxy2pzo_vec",
         {&s.pxy2pzd_vec, &s.pxy2pzo_vec}},
        {on(PRM_PZ2PX), n, CoreFail, "IHamInit()/pz2pxy_vec", {&s.pz2pxy_vec}},
    };
    if (!TakeBlockScratch(s)) return CoreFailLog("RHamInit()/H2V_Matrix");
    for (const Request& request : requests) {
        if (!Take(request)) return 0;
    }
    return 1;
}

}  // namespace

int RHamInit(int state, std::span<HamScratch> scratch) {
    TraceEnter("RHamInit");
    for (HamScratch& s : scratch) {
        if (!TakeReal(state, s)) return 0;
    }
    ListFileLengths(state);
    return TraceExit("RHamInit");
}

int IHamInit(int state, HamScratch& s) {
    TraceEnter("IHamInit");
    const std::int64_t n = Size();
    const char* const matrices = "IHamInit()/HR_Mat/HI_Mat/VR_Mat/VI_Mat";
    const Request requests[] = {
        {true, n * VecLd(static_cast<int>(n)), CoreFail, matrices, {&s.HR_Mat, &s.HI_Mat}},
        {true, 2 * n, CoreFail, "IHamInit()/tau_mat", {&s.tau_mat}},
        {true, n, CoreFail, "IHamInit()/od_vec/od1_vec", {&s.od_vec, &s.od1_vec}},
        {true, n, CoreFail, "IHamInit()/pp2pm2_vec", {&s.pp2pm2_vec}},
        {AnyOn(state, PRM_PX, PRM_PY), n, CoreFail, "IHamInit()/pxpy_vec", {&s.pxpy_vec}},
        {IsTermOn(state, PRM_PXPZ) || IsTermOn(state, PRM_PYPZ),
         n,
         CoreFail,
         "IHamInit()/pxypz_vec",
         {&s.pxypz_vec}},
        {AnyOn(state, PRM_PX3, PRM_PY3),
         n,
         CoreFail,
         "IHamInit()/pxy31_vec/pxy32_vec",
         {&s.pxy31_vec, &s.pxy32_vec}},
        {AnyOn(state, PRM_PX2PZ, PRM_PY2PZ),
         n,
         CoreFail,
         "IHamInit()/pxy2pzd_vec/pxy2pzo_vec",
         {&s.pxy2pzd_vec, &s.pxy2pzo_vec}},
        {AnyOn(state, PRM_PZ2PX, PRM_PZ2PY), n, CoreFail, "IHamInit()/pz2pxy_vec", {&s.pz2pxy_vec}},
    };
    if (!TakeBlockScratch(s)) return CoreFail(matrices);
    for (const Request& request : requests) {
        if (!Take(request)) return 0;
    }
    ListFileLengths(state);
    return TraceExit("IHamInit");
}
