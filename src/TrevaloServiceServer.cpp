#include "TrevaloServiceServer.h"

ComponentList<AudioComponent>* TrevaloServiceServer::audList = nullptr;
ComponentList<VideoComponent>* TrevaloServiceServer::vidList = nullptr;
ComponentList<SbtComponent>* TrevaloServiceServer::sbtList = nullptr;
TCPMTParser* TrevaloServiceServer::m_pParser = nullptr;
uint32_t TrevaloServiceServer::m_CurrentVideoPlayingTime = 0;
double TrevaloServiceServer::m_TimeTicker = 0.0;

namespace {

template <typename Component>
void ReleaseList(ComponentList<Component>*& list) {
    delete list;
    list = nullptr;
}

}  // namespace

void TrevaloServiceServer::InitTrevaloServiceServer() {
    vidList = new ComponentList<VideoComponent>();
    audList = new ComponentList<AudioComponent>();
    sbtList = new ComponentList<SbtComponent>();
}

void TrevaloServiceServer::FiniTrevaloServiceServer() {
    ReleaseList(vidList);
    ReleaseList(audList);
    ReleaseList(sbtList);
}

void TrevaloServiceServer::ClearCatalogue() {
    vidList->clear();
    audList->clear();
    sbtList->clear();
}
