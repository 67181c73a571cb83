'use strict';
{
  const {cards, plates} = embeddedCards();
  new CGallery().setCards(cards, plates);
}
